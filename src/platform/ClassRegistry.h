#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>

#include "platform/Codable.h"
#include "platform/Mutex.h"

namespace tavo::platform {

// The run time's class lookup by name: the keyed unarchiver asks it for a fresh instance of the class an
// archive names. Archivable classes register once (a static ClassRegistration in their .cpp).
class ClassRegistry {
 public:
  using Factory = std::function<std::shared_ptr<Codable>()>;

  static ClassRegistry& shared();

  void registerClass(const std::string& name, Factory factory);
  // A new instance of the named class, or nullptr when no such class is registered.
  std::shared_ptr<Codable> makeInstance(const std::string& name) const;
  bool hasClass(const std::string& name) const;

 private:
  mutable Mutex mutex_;
  std::map<std::string, Factory> factories_ GUARDED_BY(mutex_);
};

// Registers T (default-constructible Codable) under its class name at static-initialisation time.
template <class T>
struct ClassRegistration {
  explicit ClassRegistration(const std::string& name) {
    ClassRegistry::shared().registerClass(name, [] { return std::make_shared<T>(); });
  }
};

}  // namespace tavo::platform
