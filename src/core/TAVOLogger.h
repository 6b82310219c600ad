#pragma once

#include <atomic>
#include <cstdint>
#include <string>

#include "core/StringFormat.h"

namespace tavo {

// The SDK's one log channel, filtered by a bit mask of levels. Lines reach the platform's system log as
// "TAVOLogger: <level> - <text>", the text first looked up in the host's "en" localisation table.
// Callable from any thread.
class TAVOLogger {
 public:
  enum Level : std::uint64_t { Verbose = 2, Plain = 4, Warning = 8, Error = 16 };
  static constexpr std::uint64_t kDefaultMask = Error;
  static constexpr std::uint64_t kDebugMask = Verbose | Plain | Warning | Error;  // 30

  static TAVOLogger& sharedLogger();

  // A plain-level message (level 4), formatted with StringFormat placeholders.
  template <class... A>
  static void log(std::string_view format, const A&... args) {
    if (!sharedLogger().isEnabled(Plain)) return;  // skip formatting when nothing would print
    logAndType(StringFormat::format(format, args...), Plain);
  }
  // A message at one level bit.
  static void logAndType(const std::string& message, std::uint64_t level);

  std::uint64_t logLevel() const { return mask_.load(std::memory_order_relaxed); }
  void setLogLevel(std::uint64_t mask) { mask_.store(mask, std::memory_order_relaxed); }
  bool isEnabled(std::uint64_t level) const { return (logLevel() & level) != 0; }

 private:
  TAVOLogger() = default;
  std::atomic<std::uint64_t> mask_{kDefaultMask};
};

}  // namespace tavo
