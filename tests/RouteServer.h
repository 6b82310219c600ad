#pragma once

#include <httplib.h>

#include <functional>
#include <string>
#include <thread>

namespace tavo::testing {

// A cpp-httplib server on 127.0.0.1 with the routes a test gives, served from its own thread, keeping
// connections alive: for what the emulator does not play (web pages, connection reuse). Listening when the
// constructor returns.
class RouteServer {
 public:
  explicit RouteServer(const std::function<void(httplib::Server&)>& routes);
  ~RouteServer();
  RouteServer(const RouteServer&) = delete;
  RouteServer& operator=(const RouteServer&) = delete;

  // "http://127.0.0.1:<port>" + path.
  std::string url(const std::string& path) const;

 private:
  httplib::Server server_;
  int port_ = 0;
  std::thread thread_;
};

}  // namespace tavo::testing
