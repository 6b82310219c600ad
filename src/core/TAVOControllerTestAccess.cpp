#include "core/TAVOControllerTestAccess.h"

#include <memory>
#include <vector>

#include "core/TAVOController.h"
#include "platform/MutexLock.h"

namespace tavo {

TAVOController* TAVOControllerTestAccess::existingInstance() {
  return TAVOController::instance().load(std::memory_order_acquire);
}

void TAVOControllerTestAccess::replaceSharedInstance() {
  platform::MutexLock lock(TAVOController::creationMutex());
  // The old controller is kept, not deleted: a stray task of the previous test may still hold a reference.
  static std::vector<std::unique_ptr<TAVOController>> retired;
  if (TAVOController* old = TAVOController::instance().exchange(nullptr)) retired.emplace_back(old);
}

}  // namespace tavo
