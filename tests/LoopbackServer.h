#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

namespace httplib {
class Server;
}

namespace tavo::testing {

// A small HTTP/1.1 server on 127.0.0.1 and an ephemeral port, for tests that send over a real socket. It
// records every request and answers from a script: queued answers first, one per request, then a default
// responder. Each connection carries one request (the answer says "Connection: close"). It can also misbehave on
// purpose: refuse connections (stop listening, keeping its port), answer late, or drop the connection halfway through
// the body.
//
// Thread-safe: requests are served on the server's own threads while the test reads and scripts from its
// thread. Start and stop of the listener (constructor, refuseConnections, acceptConnections, destructor)
// belong to one thread, the test's.
class LoopbackServer {
 public:
  // One request as it arrived.
  struct Request {
    std::string method;
    std::string path;
    std::vector<std::pair<std::string, std::string>> headerFields;  // names as sent, one entry per field
    std::string body;                                               // raw bytes
    std::chrono::steady_clock::time_point time;                     // arrival

    // The first value of a field (names compare case-insensitively), or nullopt.
    std::optional<std::string> header(std::string_view name) const;
    std::size_t headerCount(std::string_view name) const;
  };

  // What to answer one request with.
  struct Answer {
    int status = 200;
    std::string body;
    std::string contentType = "application/json";
    double delaySeconds = 0;    // wait this long before answering (cut short when the listener stops)
    bool closeMidBody = false;  // announce the whole body, send half of it, then close the connection
    std::vector<std::pair<std::string, std::string>> headerFields = {};  // sent besides the content type ("Location")

    static Answer json(std::string body, int status = 200) { return Answer{status, std::move(body)}; }
    static Answer text(std::string body, int status = 200) { return Answer{status, std::move(body), "text/plain"}; }
    static Answer delayed(double seconds, std::string body = "{\"status\":200}") {
      Answer answer{200, std::move(body)};
      answer.delaySeconds = seconds;
      return answer;
    }
    static Answer cutOff(std::string body) {
      Answer answer{200, std::move(body)};
      answer.closeMidBody = true;
      return answer;
    }
  };
  // Decides the answer when no queued answer is left. Runs on a server thread, without the server's lock.
  using Responder = std::function<Answer(const Request&)>;

  // Listening on return. The default responder answers 200 {"status":200}.
  LoopbackServer();
  ~LoopbackServer();
  LoopbackServer(const LoopbackServer&) = delete;
  LoopbackServer& operator=(const LoopbackServer&) = delete;

  int port() const { return port_; }
  // "http://127.0.0.1:<port>/ws/": the SDK appends the action to it.
  std::string baseURL() const;
  std::string url(const std::string& path) const;

  void enqueueAnswer(Answer answer);
  void setResponder(Responder responder);

  // Stops listening: connections to the port are refused until acceptConnections(). Answers waiting out a
  // delay are cut short.
  void refuseConnections();
  // Listens again on the same port. Throws std::runtime_error when the port cannot be bound again.
  void acceptConnections();
  bool isListening() const { return server_ != nullptr; }

  std::vector<Request> requests() const;
  std::size_t requestCount() const;
  // Blocks until at least count requests have arrived, or timeoutSeconds of real time passed; true if they did.
  bool waitForRequests(std::size_t count, double timeoutSeconds) const;
  // Forgets the recorded requests and any queued answer.
  void clear();

 private:
  void listen(int port);
  void stopListening();
  // The answer for a request just recorded (queued first, then the responder).
  Answer answerFor(const Request& request);
  // Sleeps up to seconds; returns early when the listener stops.
  void waitOutDelay(double seconds);

  int port_ = 0;
  std::unique_ptr<httplib::Server> server_;
  std::thread listenThread_;

  mutable std::mutex mutex_;  // guards everything below
  mutable std::condition_variable changed_;
  std::vector<Request> requests_;
  std::deque<Answer> script_;
  Responder responder_;
  bool stopping_ = false;
};

}  // namespace tavo::testing
