#pragma once

#include <optional>
#include <string>

#include "platform/Mutex.h"
#include "tavo/platform/Value.h"

namespace tavo::platform {

// The host application's bundle: its information keys ("CFBundleShortVersionString", "CFBundleVersion",
// "CFBundleName", "CFBundleDisplayName", ...) and its localised-string tables. The host fills it at start-up
// (on Linux there is no bundle file to read). Thread-safe.
class Bundle {
 public:
  Bundle() = default;
  explicit Bundle(Dictionary infoDictionary);

  std::optional<Value> objectForInfoDictionaryKey(const std::string& key) const;
  void setInfoValue(const std::string& key, Value value);
  Dictionary infoDictionary() const;

  // The platform's lookup: the table's entry for key; when missing, value if it is non-empty, else key.
  // table "" means the default table, "Localizable".
  std::string localizedStringForKey(const std::string& key, const std::string& value,
                                    const std::string& table = "") const;
  void setLocalizedStrings(const std::string& table, Dictionary strings);

 private:
  mutable Mutex mutex_;
  Dictionary info_ GUARDED_BY(mutex_);
  Dictionary tables_ GUARDED_BY(mutex_);  // table name -> dictionary of strings
};

}  // namespace tavo::platform
