#pragma once

#include <string>

namespace tavo {

// The host application's version and name, from its bundle.
class TAVOAppController {
 public:
  // "CFBundleShortVersionString" when non-empty, else "CFBundleVersion" when non-empty, else "0.0".
  static std::string getAppVersion();
  static std::string getAppName();
};

}  // namespace tavo
