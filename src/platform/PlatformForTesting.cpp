#include "platform/PlatformForTesting.h"

#include "platform/DiskFileSystem.h"
#include "platform/FakeHttpClient.h"
#include "platform/InMemoryUserDefaults.h"
#include "platform/ManualClock.h"

namespace tavo::platform {

std::shared_ptr<Platform> PlatformForTesting::make(const std::string& dataDirectory) {
  auto platform = Platform::makeWith(std::make_shared<ManualClock>(), std::make_shared<DiskFileSystem>(dataDirectory),
                                     std::make_shared<InMemoryUserDefaults>());
  platform->httpClient = std::make_shared<FakeHttpClient>(platform->operationQueue);
  return platform;
}

}  // namespace tavo::platform
