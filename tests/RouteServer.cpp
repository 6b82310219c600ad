#include "RouteServer.h"

#include <chrono>
#include <stdexcept>

namespace tavo::testing {

RouteServer::RouteServer(const std::function<void(httplib::Server&)>& routes) {
  // Enough workers that keep-alive connections never starve the requests queued behind them.
  server_.new_task_queue = [] { return new httplib::ThreadPool(64); };
  routes(server_);
  port_ = server_.bind_to_any_port("127.0.0.1");
  if (port_ <= 0) throw std::runtime_error("RouteServer: no loopback port to bind");
  thread_ = std::thread([this] { server_.listen_after_bind(); });
  // A stop before the listener runs would be lost, and the join would wait forever.
  while (!server_.is_running()) std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

RouteServer::~RouteServer() {
  server_.stop();
  thread_.join();
}

std::string RouteServer::url(const std::string& path) const {
  return "http://127.0.0.1:" + std::to_string(port_) + path;
}

}  // namespace tavo::testing
