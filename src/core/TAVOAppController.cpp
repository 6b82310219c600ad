#include "core/TAVOAppController.h"

#include "platform/Platform.h"

namespace tavo {

namespace {

std::string infoString(const char* key) {
  const auto value = platform::Platform::shared().bundle->objectForInfoDictionaryKey(key);
  return value && value->isString() ? *value->asString() : std::string();
}

}  // namespace

std::string TAVOAppController::getAppVersion() {
  if (auto shortVersion = infoString("CFBundleShortVersionString"); !shortVersion.empty()) return shortVersion;
  if (auto version = infoString("CFBundleVersion"); !version.empty()) return version;
  return "0.0";
}

std::string TAVOAppController::getAppName() { return infoString("CFBundleName"); }

}  // namespace tavo
