#include "platform/HttpClient.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <httplib.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <future>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "RouteServer.h"
#include "emulator/Emulator.h"
#include "platform/OperationQueue.h"

namespace tavo::platform {
namespace {

using namespace std::chrono_literals;
using SteadyClock = std::chrono::steady_clock;

struct Outcome {
  std::optional<HttpResponse> response;
  std::optional<HttpError> error;
};

// Sends one request and waits for its completion; fails the test if none comes.
Outcome sendAndWait(HttpClient& client, HttpRequest request) {
  auto promise = std::make_shared<std::promise<Outcome>>();
  auto future = promise->get_future();
  client.send(std::move(request), [promise](std::optional<HttpResponse> response, std::optional<HttpError> error) {
    promise->set_value(Outcome{std::move(response), std::move(error)});
  });
  if (future.wait_for(5s) != std::future_status::ready) {
    ADD_FAILURE() << "no completion within 5 s";
    return {};
  }
  return future.get();
}

HttpRequest request(std::string method, std::string url, double timeoutSeconds = 3.0) {
  HttpRequest r;
  r.method = std::move(method);
  r.url = std::move(url);
  r.timeoutSeconds = timeoutSeconds;
  return r;
}

std::string urlOn(int port, const std::string& path) { return "http://127.0.0.1:" + std::to_string(port) + path; }

// A request the emulator answers with a form body: a retrieving user update names the device's user.
HttpRequest userUpdate(const emulator::Emulator& server, const std::string& udid, double timeoutSeconds = 3.0) {
  HttpRequest r = request("POST", server.url("/ws/updateuser"), timeoutSeconds);
  r.body = R"(apiUser=APPUSER0001&apiKey=KEY123456&json={"udid":")" + udid + R"(","tavo_retrieve":"yes"})";
  return r;
}

int listeningSocket(int& port) {
  const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) ADD_FAILURE() << "bind failed";
  if (::listen(fd, 16) != 0) ADD_FAILURE() << "listen failed";
  socklen_t length = sizeof address;
  ::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length);
  port = ntohs(address.sin_port);
  return fd;
}

// A bare TCP server for what httplib will not do: show the request bytes as sent, or misbehave on purpose.
// Each connection is read up to the end of its request, handed to the handler, then closed.
class RawServer {
 public:
  using Handler = std::function<void(int fd, const std::string& request)>;

  explicit RawServer(Handler handler) : handler_(std::move(handler)) {
    listenFd_ = listeningSocket(port_);
    thread_ = std::thread([this] { serve(); });
  }
  ~RawServer() {
    stop_ = true;
    thread_.join();
    ::close(listenFd_);
  }
  std::string url(const std::string& path) const { return urlOn(port_, path); }
  std::string lastRequest() const {
    std::lock_guard lock(mutex_);
    return lastRequest_;
  }
  static void write(int fd, const std::string& bytes) {
    ASSERT_EQ(::send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL), static_cast<ssize_t>(bytes.size()));
  }

 private:
  void serve() {
    while (!stop_) {
      pollfd waiting{listenFd_, POLLIN, 0};
      if (::poll(&waiting, 1, 20) <= 0) continue;
      const int fd = ::accept(listenFd_, nullptr, nullptr);
      if (fd < 0) continue;
      const std::string received = readRequest(fd);
      {
        std::lock_guard lock(mutex_);
        lastRequest_ = received;
      }
      handler_(fd, received);
      ::close(fd);
    }
  }
  static std::string readRequest(int fd) {
    std::string bytes;
    std::size_t expected = std::string::npos;
    char buffer[4096];
    for (pollfd waiting{fd, POLLIN, 0}; bytes.size() < expected && ::poll(&waiting, 1, 2000) > 0;) {
      const ssize_t got = ::recv(fd, buffer, sizeof buffer, 0);
      if (got <= 0) break;
      bytes.append(buffer, static_cast<std::size_t>(got));
      const auto end = bytes.find("\r\n\r\n");
      if (expected == std::string::npos && end != std::string::npos) {
        const auto field = bytes.find("Content-Length: ");
        expected = end + 4 + (field < end ? std::stoul(bytes.substr(field + 16)) : 0);
      }
    }
    return bytes;
  }

  Handler handler_;
  int listenFd_ = -1;
  int port_ = 0;
  std::atomic<bool> stop_{false};
  std::thread thread_;
  mutable std::mutex mutex_;
  std::string lastRequest_;
};

class HttpClientTest : public ::testing::Test {
 protected:
  std::shared_ptr<OperationQueue> queue_ = std::make_shared<OperationQueue>();
};

TEST_F(HttpClientTest, HeaderFieldsGoOutInOrderOnceAndUnsplitAndABinaryBodyGoesWholeWithoutWaitingForContinue) {
  RawServer server([](int fd, const std::string&) {
    RawServer::write(fd, "HTTP/1.1 200 OK\r\nContent-Length: 2\r\nConnection: close\r\n\r\nok");
  });
  CurlHttpClient client(queue_);
  HttpRequest post = request("POST", server.url("/track"));
  post.headerFields = {{"X-Zeta", "z"},
                       {"Content-Type", "application/json"},
                       {"X-Alpha", "a"},
                       {"X-Empty", ""},
                       {"X-Mid", "m\r\nInjected: yes"}};
  // Large enough that curl would otherwise ask for 100-continue.
  post.body = std::string("\0\x01\xff\r\n\r\n", 7) + std::string(1536 * 1024, 'x');
  // No "Expect:" below means no wait for a 100 Continue (a timing check here would fail on a loaded machine).
  ASSERT_TRUE(sendAndWait(client, post).response);

  const std::string raw = server.lastRequest();
  const std::string head = raw.substr(0, raw.find("\r\n\r\n") + 2);
  std::size_t previous = 0;
  for (const char* field : {"\r\nX-Zeta: z\r\n", "\r\nX-Alpha: a\r\n", "\r\nX-Empty:", "\r\nX-Mid: m"}) {
    const auto at = head.find(field);
    ASSERT_NE(at, std::string::npos) << field << " missing from\n" << head;
    EXPECT_GT(at, previous) << field << " out of order";
    previous = at;
  }
  EXPECT_EQ(head.find("\r\nInjected:"), std::string::npos) << "a line break in a value started a new header";
  EXPECT_EQ(head.find("Expect:"), std::string::npos);
  // The caller's Content-Type is the only one; curl's form default must not ride along.
  EXPECT_NE(head.find("\r\nContent-Type: application/json\r\n"), std::string::npos);
  EXPECT_EQ(head.find("\r\nContent-Type:"), head.rfind("\r\nContent-Type:"));
  EXPECT_NE(raw.find("\r\n\r\n" + post.body), std::string::npos);
}

// Status answers themselves are covered end to end by the fault matrix; here, what it cannot see.
TEST_F(HttpClientTest, AnAnswerKeepsItsHeaderFieldsInOrderAndDropsInterimOnes) {
  RawServer server([](int fd, const std::string&) {
    RawServer::write(fd,
                     "HTTP/1.1 100 Continue\r\nX-Interim: yes\r\n\r\n"
                     "HTTP/1.1 201 Created\r\nSet-Cookie: a=1\r\nX-B:  spaced  \r\nSet-Cookie: b=2\r\n"
                     "Content-Length: 4\r\nConnection: close\r\n\r\ndone");
  });
  CurlHttpClient client(queue_);
  const auto outcome = sendAndWait(client, request("GET", server.url("/")));
  ASSERT_TRUE(outcome.response);
  EXPECT_EQ(outcome.response->statusCode, 201);
  EXPECT_EQ(outcome.response->body, "done");
  const std::vector<std::pair<std::string, std::string>> expected = {{"Set-Cookie", "a=1"},
                                                                     {"X-B", "spaced"},
                                                                     {"Set-Cookie", "b=2"},
                                                                     {"Content-Length", "4"},
                                                                     {"Connection", "close"}};
  EXPECT_EQ(outcome.response->headerFields, expected);
}

TEST_F(HttpClientTest, TransportFailuresComeQuicklyAsAnErrorWithTheirOwnCode) {
  // Refused connections and bodies cut short are in the fault matrix; a close without a word is not.
  RawServer raw([](int, const std::string&) {});
  CurlHttpClient client(queue_);
  for (const auto& [url, code] :
       std::vector<std::pair<std::string, HttpError::Code>>{{raw.url("/silent"), HttpError::ConnectionLost},
                                                            {"http://", HttpError::BadURL},
                                                            {"file:///etc/passwd", HttpError::BadURL}}) {
    const auto start = SteadyClock::now();
    const auto outcome = sendAndWait(client, request("GET", url, 10.0));
    EXPECT_LT(SteadyClock::now() - start, 2s) << url;
    ASSERT_TRUE(outcome.error) << url;
    EXPECT_EQ(outcome.error->code, code) << url;
    EXPECT_FALSE(outcome.error->message.empty()) << url;
  }
}

TEST_F(HttpClientTest, SilentServerTimesOutOnceAndItsLateAnswerIsIgnored) {
  std::atomic<bool> lateAnswerSent{false};
  testing::RouteServer server([&](httplib::Server& s) {
    s.Get("/slow", [&](const httplib::Request&, httplib::Response& res) {
      std::this_thread::sleep_for(1200ms);
      res.set_content("late", "text/plain");
      lateAnswerSent = true;
    });
    s.Get("/fast", [](const httplib::Request&, httplib::Response& res) { res.set_content("fast", "text/plain"); });
  });
  CurlHttpClient client(queue_);

  std::atomic<int> calls{0};
  std::atomic<bool> onQueue{false};
  std::promise<Outcome> first;
  const auto start = SteadyClock::now();
  client.send(request("GET", server.url("/slow"), 0.5), [&](auto response, auto error) {
    onQueue = queue_->isCurrentQueue();  // never on the I/O thread
    if (++calls == 1) first.set_value(Outcome{response, error});
  });
  auto future = first.get_future();
  ASSERT_EQ(future.wait_for(3s), std::future_status::ready);
  const auto outcome = future.get();
  EXPECT_LT(SteadyClock::now() - start, 1100ms);
  ASSERT_TRUE(outcome.error);
  EXPECT_EQ(outcome.error->code, HttpError::TimedOut);
  EXPECT_TRUE(onQueue.load());

  while (!lateAnswerSent) std::this_thread::sleep_for(10ms);
  // The next request must get its own answer, not the late one left on an old connection.
  const auto next = sendAndWait(client, request("GET", server.url("/fast")));
  ASSERT_TRUE(next.response);
  EXPECT_EQ(next.response->body, "fast");
  queue_->waitUntilAllOperationsAreFinished();
  EXPECT_EQ(calls.load(), 1);
}

TEST_F(HttpClientTest, ManyConcurrentSendsEachCompleteExactlyOnceWithTheirOwnAnswer) {
  testing::RouteServer server([](httplib::Server& s) {
    s.Post("/echo",
           [](const httplib::Request& req, httplib::Response& res) { res.set_content(req.body, "text/plain"); });
  });
  CurlHttpClient client(queue_);
  constexpr int kThreads = 3;
  constexpr int kPerThread = 10;
  std::mutex mutex;
  std::map<std::string, int> calls;  // body -> completions
  int mismatches = 0;
  std::vector<std::thread> senders;
  for (int t = 0; t < kThreads; ++t) {
    senders.emplace_back([&, t] {
      for (int i = 0; i < kPerThread; ++i) {
        HttpRequest r = request("POST", server.url("/echo"));
        r.body = "request-" + std::to_string(t) + "-" + std::to_string(i);
        client.send(r, [&, sent = r.body](std::optional<HttpResponse> response, std::optional<HttpError>) {
          std::lock_guard lock(mutex);
          ++calls[sent];
          mismatches += !response || response->body != sent;
        });
      }
    });
  }
  for (auto& sender : senders) sender.join();
  for (int i = 0; i < 500 && client.requestsInFlight() > 0; ++i) std::this_thread::sleep_for(10ms);
  queue_->waitUntilAllOperationsAreFinished();
  std::lock_guard lock(mutex);
  EXPECT_EQ(calls.size(), static_cast<std::size_t>(kThreads * kPerThread));
  for (const auto& [body, count] : calls) EXPECT_EQ(count, 1) << body;
  EXPECT_EQ(mismatches, 0);
}

// --- destruction ---

// Holds back the first count answers until the emulator stops.
std::unique_ptr<emulator::Emulator> holdingAnswers(int count) {
  auto server = std::make_unique<emulator::Emulator>();
  server->delayAnswers(60'000, count);
  return server;
}

TEST(HttpClientDestructionTest, InFlightAndQueuedRequestsCompleteCancelledAndTheDestructorIsPrompt) {
  auto queue = std::make_shared<OperationQueue>();
  const auto gated = holdingAnswers(4);
  std::mutex mutex;
  std::vector<HttpError::Code> codes;
  int responses = 0;
  const auto record = [&](std::optional<HttpResponse> response, std::optional<HttpError> error) {
    std::lock_guard lock(mutex);
    if (response) ++responses;
    if (error) codes.push_back(error->code);
  };

  auto client = std::make_unique<CurlHttpClient>(queue);
  for (int i = 0; i < 3; ++i) client->send(userUpdate(*gated, "held", 10.0), record);
  ASSERT_TRUE(gated->waitForRequests(3, 3.0));
  client->send(userUpdate(*gated, "held", 10.0), record);  // may not have left yet
  const auto start = SteadyClock::now();
  client.reset();
  EXPECT_LT(SteadyClock::now() - start, 1s);
  queue->waitUntilAllOperationsAreFinished();

  std::lock_guard lock(mutex);
  EXPECT_EQ(responses, 0);
  EXPECT_EQ(codes, std::vector<HttpError::Code>(4, HttpError::Cancelled));
}

TEST(HttpClientDestructionTest, DestroyingTheClientFromItsOwnCompletionDoesNotDeadlock) {
  auto queue = std::make_shared<OperationQueue>();
  const auto gated = holdingAnswers(1);
  auto client = std::make_shared<std::unique_ptr<CurlHttpClient>>(std::make_unique<CurlHttpClient>(queue));
  std::promise<std::optional<HttpError>> stuck;
  (*client)->send(userUpdate(*gated, "held", 10.0),
                  [&](auto, std::optional<HttpError> error) { stuck.set_value(error); });
  ASSERT_TRUE(gated->waitForRequests(1, 3.0));
  std::promise<void> destroyed;
  (*client)->send(userUpdate(*gated, "quick"), [&, client](auto, auto) {
    client->reset();  // the last owner lets go from the completion queue itself
    destroyed.set_value();
  });

  auto destroyedFuture = destroyed.get_future();
  auto stuckFuture = stuck.get_future();
  EXPECT_EQ(destroyedFuture.wait_for(3s), std::future_status::ready);
  ASSERT_EQ(stuckFuture.wait_for(3s), std::future_status::ready);
  const auto error = stuckFuture.get();
  ASSERT_TRUE(error);
  EXPECT_EQ(error->code, HttpError::Cancelled);
}

// Whoever waits for quiet (a host at shutdown, a test) counts a request from send() until its completion is on
// the queue: never zero while an answer could still arrive, whatever the outcome.
TEST(HttpClientInFlightTest, ARequestCountsUntilItsCompletionIsQueuedWhateverTheOutcome) {
  auto queue = std::make_shared<OperationQueue>();
  // The queue is kept busy, so completions wait on it: "queued" and "handled" are apart.
  std::promise<void> unblock;
  queue->addOperation([released = unblock.get_future().share()] { released.wait(); });
  auto gated = holdingAnswers(1);
  CurlHttpClient client(queue);
  EXPECT_EQ(client.requestsInFlight(), 0u);

  client.send(userUpdate(*gated, "held", 10.0), [](auto, auto) {});
  client.send(request("GET", "not a url at all"), [](auto, auto) {});
  client.send(request("GET", "http://127.0.0.1:1/", 10.0), nullptr);  // no completion at all
  ASSERT_TRUE(gated->waitForRequests(1, 3.0));
  for (int i = 0; i < 300 && client.requestsInFlight() > 1; ++i) std::this_thread::sleep_for(10ms);
  EXPECT_EQ(client.requestsInFlight(), 1u);  // only the held one is still on the wire

  gated.reset();  // stopping lets the held answer go
  for (int i = 0; i < 300 && client.requestsInFlight() > 0; ++i) std::this_thread::sleep_for(10ms);
  EXPECT_EQ(client.requestsInFlight(), 0u);
  EXPECT_EQ(queue->operationCount(), 3u);  // the blocker and the two completions
  unblock.set_value();
  queue->waitUntilAllOperationsAreFinished();
}

}  // namespace
}  // namespace tavo::platform
