#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>

#include "platform/HttpClient.h"

namespace tavo::bench {

// Hands every request to another client and counts the requests sent and the answers (or transport errors)
// that came back. After an answer's own completion has run, calls onAnswer (on the completion's thread).
class CountingHttpClient final : public platform::HttpClient {
 public:
  CountingHttpClient(std::shared_ptr<platform::HttpClient> client, std::function<void()> onAnswer);

  void send(platform::HttpRequest request, Completion completion) override;

  std::size_t sent() const { return counts_->sent.load(); }
  std::size_t answered() const { return counts_->answered.load(); }
  std::size_t transportErrors() const { return counts_->transportErrors.load(); }
  std::size_t largestBody() const { return counts_->largestBody.load(); }
  // When the latest answer (or transport error) came back.
  std::chrono::steady_clock::time_point lastAnswerAt() const {
    return std::chrono::steady_clock::time_point(std::chrono::steady_clock::duration(counts_->lastAnswerAt.load()));
  }

 private:
  // Shared with the completions in flight, which may outlive this client.
  struct Counts {
    std::function<void()> onAnswer;
    std::atomic<std::size_t> sent{0};
    std::atomic<std::size_t> answered{0};
    std::atomic<std::size_t> transportErrors{0};
    std::atomic<std::size_t> largestBody{0};
    std::atomic<std::chrono::steady_clock::rep> lastAnswerAt{0};
  };

  std::shared_ptr<platform::HttpClient> client_;
  std::shared_ptr<Counts> counts_;
};

}  // namespace tavo::bench
