#include "core/TAVOLogger.h"

#include "platform/Platform.h"

namespace tavo {

TAVOLogger& TAVOLogger::sharedLogger() {
  static TAVOLogger logger;
  return logger;
}

void TAVOLogger::logAndType(const std::string& message, std::uint64_t level) {
  if (!sharedLogger().isEnabled(level)) return;
  auto& platform = platform::Platform::shared();
  // Hosts may localise or rephrase any message by its text in their "en" table.
  const std::string text = platform.bundle->localizedStringForKey(message, "", "en");
  platform.systemLog->write("TAVOLogger: " + std::to_string(level) + " - " + text);
}

}  // namespace tavo
