#pragma once

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <memory>
#include <mutex>

#include "platform/HttpClient.h"

namespace tavo::testing {

// The real libcurl client with what only a test needs: it counts sends and the completions it has handed
// on (so a test knows when every answer was delivered), can shorten the time-out the SDK asks for, and can
// hold one send inside send() to stage an interleaving.
class ObservedHttpClient final : public platform::HttpClient {
 public:
  explicit ObservedHttpClient(std::shared_ptr<platform::OperationQueue> completionQueue);

  void send(platform::HttpRequest request, Completion completion) override;
  std::size_t requestsInFlight() const override { return curl_->requestsInFlight(); }

  // Seconds every request waits at most; 0 keeps what the SDK asked for.
  void setTimeoutSeconds(double seconds) { timeoutSeconds_.store(seconds); }
  std::size_t sent() const;
  // Real time, bounded: true once count completions were handed to the SDK.
  bool waitForCompletions(std::size_t count, double seconds) const;

  // The next send waits inside send() until releaseHeldSend(), with whatever locks its caller holds.
  void holdNextSend();
  bool waitUntilHolding(double seconds) const;
  void releaseHeldSend();

 private:
  // Shared with the completions: one cancelled by the client's destructor may outlive this object.
  struct State {
    std::mutex mutex;
    std::condition_variable changed;
    std::size_t sent = 0;
    std::size_t completed = 0;
    bool holdNext = false;
    bool holding = false;
  };
  std::shared_ptr<State> state_ = std::make_shared<State>();
  std::atomic<double> timeoutSeconds_{0};
  std::shared_ptr<platform::CurlHttpClient> curl_;
};

}  // namespace tavo::testing
