#pragma once

#include <map>
#include <optional>
#include <string>

#include "platform/Mutex.h"
#include "platform/UserDefaults.h"

namespace tavo::platform {

// User defaults that live as long as the object. Values are kept in their property-list form, as the
// SQLite store keeps them, so what reads back is what a restart would read.
class InMemoryUserDefaults final : public UserDefaults {
 public:
  std::optional<Value> objectForKey(const std::string& key) const override;
  [[nodiscard]] bool setObject(const Value& value, const std::string& key) override;
  bool setObjectIfUnchanged(const Value& value, const std::string& key, const std::optional<Value>& expected) override;
  [[nodiscard]] bool removeObjectForKey(const std::string& key) override;
  [[nodiscard]] bool synchronize() override { return true; }

 private:
  mutable Mutex mutex_;
  std::map<std::string, Data> stored_ GUARDED_BY(mutex_);
};

}  // namespace tavo::platform
