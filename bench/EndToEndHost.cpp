#include "EndToEndHost.h"

#include "core/TAVOController.h"
#include "core/TAVOControllerTestAccess.h"
#include "core/TAVOLogger.h"
#include "network/TAVORequestController.h"

namespace tavo::bench {

EndToEndHost::EndToEndHost() : platform_(platform::Platform::makeDefault(directory_.path())) {
  platform_->systemLog->setHandler([](const std::string&) {});
  std::weak_ptr<platform::MainLoop> mainLoop = platform_->mainLoop;
  http_ = std::make_shared<CountingHttpClient>(platform_->httpClient, [mainLoop] {
    if (auto loop = mainLoop.lock()) loop->post([] {});
  });
  platform_->httpClient = http_;
  platform::Platform::install(platform_);
  TAVOControllerTestAccess::replaceSharedInstance();
}

EndToEndHost::~EndToEndHost() {
  // Nothing of this run may reach the next one.
  drain();
  TAVOControllerTestAccess::replaceSharedInstance();
  TAVOLogger::sharedLogger().setLogLevel(TAVOLogger::kDefaultMask);
  platform::Platform::install(nullptr);
}

void EndToEndHost::drain() {
  platform_->operationQueue->waitUntilAllOperationsAreFinished();
  if (auto requests = TAVOController::sharedInstance().requestController())
    requests->queue()->waitUntilAllOperationsAreFinished();
}

}  // namespace tavo::bench
