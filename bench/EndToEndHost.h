#pragma once

#include <memory>

#include "CountingHttpClient.h"
#include "SdkTestEnvironment.h"
#include "platform/MainLoop.h"
#include "platform/Platform.h"

namespace tavo::bench {

// The SDK as a host application runs it: the Linux platform (system clock, SQLite store, libcurl) on a
// temporary data directory, a fresh shared controller, nothing logged. The libcurl client is wrapped to count
// what it sends and what comes back; each answer wakes the main loop, as a host hopping to its main thread
// would. The destructor waits for the answers in hand to be handled, then retires the SDK and its platform.
class EndToEndHost {
 public:
  EndToEndHost();
  ~EndToEndHost();
  EndToEndHost(const EndToEndHost&) = delete;
  EndToEndHost& operator=(const EndToEndHost&) = delete;

  // Waits until the answers that came back have been handled.
  void drain();

  platform::MainLoop& mainLoop() { return *platform_->mainLoop; }
  const CountingHttpClient& http() const { return *http_; }

 private:
  testing::TemporaryDirectory directory_;
  std::shared_ptr<platform::Platform> platform_;
  std::shared_ptr<CountingHttpClient> http_;
};

}  // namespace tavo::bench
