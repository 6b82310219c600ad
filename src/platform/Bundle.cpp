#include "platform/Bundle.h"

#include <utility>

#include "platform/MutexLock.h"

namespace tavo::platform {

namespace {
constexpr const char* kDefaultTable = "Localizable";
}

Bundle::Bundle(Dictionary infoDictionary) : info_(std::move(infoDictionary)) {}

std::optional<Value> Bundle::objectForInfoDictionaryKey(const std::string& key) const {
  MutexLock lock(mutex_);
  if (const Value* value = info_.find(key)) return *value;
  return std::nullopt;
}

void Bundle::setInfoValue(const std::string& key, Value value) {
  MutexLock lock(mutex_);
  info_.set(key, std::move(value));
}

Dictionary Bundle::infoDictionary() const {
  MutexLock lock(mutex_);
  return info_;
}

std::string Bundle::localizedStringForKey(const std::string& key, const std::string& value,
                                          const std::string& table) const {
  {
    MutexLock lock(mutex_);
    const Value* strings = tables_.find(table.empty() ? kDefaultTable : table);
    const Value* entry = strings ? strings->get(key) : nullptr;
    // Strings tables hold only strings; anything else is treated as a missing entry.
    if (const std::string* text = entry ? entry->asString() : nullptr) return *text;
  }
  return value.empty() ? key : value;
}

void Bundle::setLocalizedStrings(const std::string& table, Dictionary strings) {
  MutexLock lock(mutex_);
  tables_.set(table.empty() ? kDefaultTable : table, Value(std::move(strings)));
}

}  // namespace tavo::platform
