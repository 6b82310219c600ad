#pragma once

#include <atomic>
#include <cstddef>
#include <mutex>
#include <string>
#include <string_view>

#include "platform/HttpClient.h"

namespace tavo::bench {

// An HTTP client that takes every request and never answers: what a send costs on the caller's thread,
// without the fake client's recording or any completion running on another thread. Counts what it took and
// keeps the last body (moved in, so keeping it costs the caller nothing).
class DroppingHttpClient final : public platform::HttpClient {
 public:
  void send(platform::HttpRequest request, Completion completion) override;

  std::size_t requestCount() const { return requests_.load(); }
  std::size_t lastBodySize() const { return lastBodySize_.load(); }
  // How many times text occurs in the last body.
  std::size_t lastBodyOccurrences(std::string_view text) const;

 private:
  std::atomic<std::size_t> requests_{0};
  std::atomic<std::size_t> lastBodySize_{0};
  mutable std::mutex mutex_;
  std::string lastBody_;
};

}  // namespace tavo::bench
