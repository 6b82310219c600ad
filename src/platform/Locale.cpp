#include "platform/Locale.h"

#include <cstdlib>

namespace tavo::platform {

Locale Locale::currentLocale() {
  // The POSIX precedence for message texts: LC_ALL overrides LC_MESSAGES, which overrides LANG.
  std::string name;
  for (const char* variable : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
    const char* value = std::getenv(variable);
    if (value && *value) {
      name = value;
      break;
    }
  }
  // "es_ES.UTF-8@euro" -> "es_ES": codeset and modifier are not part of the identifier.
  name = name.substr(0, name.find_first_of(".@"));
  if (name.empty() || name == "C" || name == "POSIX") return Locale("en_US_POSIX");
  return Locale(name);
}

}  // namespace tavo::platform
