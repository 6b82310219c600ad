#include "platform/InMemoryUserDefaults.h"

#include "platform/MutexLock.h"
#include "platform/PropertyListSerialization.h"

namespace tavo::platform {

std::optional<Value> InMemoryUserDefaults::objectForKey(const std::string& key) const {
  Data data;
  {
    MutexLock lock(mutex_);
    const auto found = stored_.find(key);
    if (found == stored_.end()) return std::nullopt;
    data = found->second;
  }
  return PropertyListSerialization::propertyListWithData(data);
}

bool InMemoryUserDefaults::setObject(const Value& value, const std::string& key) {
  auto data = PropertyListSerialization::dataWithPropertyList(value);
  if (!data) return false;
  MutexLock lock(mutex_);
  stored_[key] = std::move(*data);
  return true;
}

bool InMemoryUserDefaults::setObjectIfUnchanged(const Value& value, const std::string& key,
                                                const std::optional<Value>& expected) {
  auto data = PropertyListSerialization::dataWithPropertyList(value);
  if (!data) return false;
  MutexLock lock(mutex_);
  const auto found = stored_.find(key);
  const auto current =
      found == stored_.end() ? std::nullopt : PropertyListSerialization::propertyListWithData(found->second);
  if (current != expected) return false;
  stored_[key] = std::move(*data);
  return true;
}

bool InMemoryUserDefaults::removeObjectForKey(const std::string& key) {
  MutexLock lock(mutex_);
  stored_.erase(key);
  return true;
}

}  // namespace tavo::platform
