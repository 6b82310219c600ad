#include "LoopbackServer.h"

#include <httplib.h>

#include <algorithm>
#include <cctype>
#include <stdexcept>

namespace tavo::testing {

namespace {

bool sameName(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](unsigned char x, unsigned char y) { return std::tolower(x) == std::tolower(y); });
}

// Enough workers that answers held back by a delay never starve the requests behind them.
constexpr std::size_t kWorkerThreads = 32;

}  // namespace

std::optional<std::string> LoopbackServer::Request::header(std::string_view name) const {
  for (const auto& [field, value] : headerFields)
    if (sameName(field, name)) return value;
  return std::nullopt;
}

std::size_t LoopbackServer::Request::headerCount(std::string_view name) const {
  return static_cast<std::size_t>(std::count_if(headerFields.begin(), headerFields.end(),
                                                [&](const auto& field) { return sameName(field.first, name); }));
}

LoopbackServer::LoopbackServer() {
  responder_ = [](const Request&) { return Answer::json("{\"status\":200}"); };
  listen(0);
}

LoopbackServer::~LoopbackServer() { stopListening(); }

std::string LoopbackServer::baseURL() const { return url("/ws/"); }

std::string LoopbackServer::url(const std::string& path) const {
  return "http://127.0.0.1:" + std::to_string(port_) + path;
}

void LoopbackServer::listen(int port) {
  auto server = std::make_unique<httplib::Server>();
  server->new_task_queue = [] { return new httplib::ThreadPool(kWorkerThreads); };
  // One request per connection: an idle kept-alive connection would hold up stopping for seconds.
  server->set_keep_alive_max_count(1);
  const httplib::Server::Handler handler = [this](const httplib::Request& in, httplib::Response& out) {
    Request request;
    request.method = in.method;
    request.path = in.path;
    request.body = in.body;
    request.time = std::chrono::steady_clock::now();
    for (const auto& [name, value] : in.headers) request.headerFields.emplace_back(name, value);

    const Answer answer = answerFor(request);
    if (answer.delaySeconds > 0) waitOutDelay(answer.delaySeconds);
    out.status = answer.status;
    for (const auto& [name, value] : answer.headerFields) out.set_header(name, value);
    if (!answer.closeMidBody) {
      out.set_content(answer.body, answer.contentType.c_str());
      return;
    }
    // Content-Length promises the whole body; returning false after half of it makes httplib drop the socket.
    out.set_content_provider(answer.body.size(), answer.contentType.c_str(),
                             [body = answer.body](std::size_t, std::size_t, httplib::DataSink& sink) {
                               sink.write(body.data(), body.size() / 2);
                               return false;
                             });
  };
  const std::string anyPath = ".*";
  server->Get(anyPath, handler);
  server->Post(anyPath, handler);
  server->Put(anyPath, handler);
  server->Patch(anyPath, handler);
  server->Delete(anyPath, handler);
  server->Options(anyPath, handler);

  if (port == 0) {
    port = server->bind_to_any_port("127.0.0.1");
    if (port <= 0) throw std::runtime_error("LoopbackServer: no free port on 127.0.0.1");
  } else if (!server->bind_to_port("127.0.0.1", port)) {
    throw std::runtime_error("LoopbackServer: port " + std::to_string(port) + " cannot be bound again");
  }
  port_ = port;
  {
    std::lock_guard lock(mutex_);
    stopping_ = false;
  }
  httplib::Server* raw = server.get();
  listenThread_ = std::thread([raw] { raw->listen_after_bind(); });
  // stop() is ignored until the loop runs: wait for it, so a quick stop cannot leave the thread unjoinable.
  for (int i = 0; i < 5000 && !raw->is_running(); ++i) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  server_ = std::move(server);
}

void LoopbackServer::stopListening() {
  if (!server_) return;
  {
    std::lock_guard lock(mutex_);
    stopping_ = true;
  }
  changed_.notify_all();
  server_->stop();
  // The listen loop joins its workers before it returns, so no handler still runs after this.
  listenThread_.join();
  server_.reset();
}

void LoopbackServer::refuseConnections() { stopListening(); }

void LoopbackServer::acceptConnections() {
  if (!server_) listen(port_);
}

void LoopbackServer::enqueueAnswer(Answer answer) {
  std::lock_guard lock(mutex_);
  script_.push_back(std::move(answer));
}

void LoopbackServer::setResponder(Responder responder) {
  std::lock_guard lock(mutex_);
  responder_ = std::move(responder);
}

LoopbackServer::Answer LoopbackServer::answerFor(const Request& request) {
  Responder responder;
  {
    std::lock_guard lock(mutex_);
    requests_.push_back(request);
    changed_.notify_all();
    if (!script_.empty()) {
      Answer answer = std::move(script_.front());
      script_.pop_front();
      return answer;
    }
    responder = responder_;
  }
  return responder ? responder(request) : Answer::json("{\"status\":200}");
}

void LoopbackServer::waitOutDelay(double seconds) {
  std::unique_lock lock(mutex_);
  changed_.wait_for(lock, std::chrono::duration<double>(seconds), [this] { return stopping_; });
}

std::vector<LoopbackServer::Request> LoopbackServer::requests() const {
  std::lock_guard lock(mutex_);
  return requests_;
}

std::size_t LoopbackServer::requestCount() const {
  std::lock_guard lock(mutex_);
  return requests_.size();
}

bool LoopbackServer::waitForRequests(std::size_t count, double timeoutSeconds) const {
  std::unique_lock lock(mutex_);
  return changed_.wait_for(lock, std::chrono::duration<double>(timeoutSeconds),
                           [&] { return requests_.size() >= count; });
}

void LoopbackServer::clear() {
  std::lock_guard lock(mutex_);
  requests_.clear();
  script_.clear();
}

}  // namespace tavo::testing
