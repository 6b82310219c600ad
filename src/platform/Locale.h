#pragma once

#include <string>

namespace tavo::platform {

// The user's locale. On Linux the identifier comes from LC_ALL, LC_MESSAGES or LANG ("es_ES.UTF-8" gives
// "es_ES"); "C", "POSIX" or nothing gives "en_US_POSIX".
class Locale {
 public:
  explicit Locale(std::string identifier) : identifier_(std::move(identifier)) {}
  static Locale currentLocale();

  const std::string& localeIdentifier() const { return identifier_; }

 private:
  std::string identifier_;
};

}  // namespace tavo::platform
