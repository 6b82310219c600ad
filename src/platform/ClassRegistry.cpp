#include "platform/ClassRegistry.h"

#include <utility>

#include "platform/MutexLock.h"

namespace tavo::platform {

ClassRegistry& ClassRegistry::shared() {
  static ClassRegistry registry;
  return registry;
}

void ClassRegistry::registerClass(const std::string& name, Factory factory) {
  MutexLock lock(mutex_);
  factories_[name] = std::move(factory);
}

std::shared_ptr<Codable> ClassRegistry::makeInstance(const std::string& name) const {
  Factory factory;
  {
    MutexLock lock(mutex_);
    const auto it = factories_.find(name);
    if (it == factories_.end()) return nullptr;
    factory = it->second;
  }
  // Called unlocked: a factory may itself consult the registry.
  return factory ? factory() : nullptr;
}

bool ClassRegistry::hasClass(const std::string& name) const {
  MutexLock lock(mutex_);
  return factories_.count(name) != 0;
}

}  // namespace tavo::platform
