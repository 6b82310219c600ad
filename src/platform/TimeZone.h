#pragma once

#include <optional>
#include <string>

#include "tavo/platform/Date.h"

namespace tavo::platform {

// A time zone: the system's own (named from TZ, /etc/timezone or the /etc/localtime link, offsets from the
// C library), UTC, or a fixed offset from GMT.
class TimeZone {
 public:
  static TimeZone systemTimeZone();
  static TimeZone utc();
  static TimeZone withSecondsFromGMT(int seconds, std::string name = "");

  const std::string& name() const { return name_; }
  // Offset from GMT in seconds at the given date (daylight saving applied for the system zone).
  int secondsFromGMTForDate(Date date) const;

  // Same kind, name and fixed offset: the same offsets for every date.
  friend bool operator==(const TimeZone&, const TimeZone&) = default;

 private:
  enum class Kind { System, Fixed };
  TimeZone(Kind kind, std::string name, int offset) : kind_(kind), name_(std::move(name)), offset_(offset) {}
  Kind kind_;
  std::string name_;
  int offset_;
};

}  // namespace tavo::platform
