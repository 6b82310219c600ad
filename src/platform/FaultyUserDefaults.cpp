#include "platform/FaultyUserDefaults.h"

#include <utility>

namespace tavo::platform {

FaultyUserDefaults::FaultyUserDefaults(std::shared_ptr<UserDefaults> store, std::shared_ptr<FaultyStorage> faults)
    : store_(std::move(store)), faults_(std::move(faults)) {}

std::optional<Value> FaultyUserDefaults::objectForKey(const std::string& key) const {
  auto value = store_->objectForKey(key);
  if (!value || !faults_->takeReadDamage()) return value;
  if (const Data* data = value->asData()) return Value(FaultyStorage::damaged(*data));
  return std::nullopt;
}

bool FaultyUserDefaults::setObject(const Value& value, const std::string& key) {
  return !faults_->takeWriteFailure() && store_->setObject(value, key);
}

bool FaultyUserDefaults::setObjectIfUnchanged(const Value& value, const std::string& key,
                                              const std::optional<Value>& expected) {
  return !faults_->takeWriteFailure() && store_->setObjectIfUnchanged(value, key, expected);
}

bool FaultyUserDefaults::removeObjectForKey(const std::string& key) {
  return !faults_->takeWriteFailure() && store_->removeObjectForKey(key);
}

bool FaultyUserDefaults::synchronize() { return store_->synchronize(); }

}  // namespace tavo::platform
