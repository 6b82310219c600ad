#pragma once

#include <compare>

namespace tavo::platform {

// A point in time, as seconds since 1970-01-01 00:00:00 UTC (fractions allowed). Plain value.
class Date {
 public:
  constexpr Date() = default;
  constexpr explicit Date(double secondsSince1970) : seconds_(secondsSince1970) {}

  static constexpr Date dateWithTimeIntervalSince1970(double seconds) { return Date(seconds); }
  // Seconds between 1970 and the platform's reference date, 2001-01-01 00:00:00 UTC.
  static constexpr double kReferenceDateOffset = 978307200.0;

  constexpr double timeIntervalSince1970() const { return seconds_; }
  constexpr double timeIntervalSinceReferenceDate() const { return seconds_ - kReferenceDateOffset; }
  constexpr double timeIntervalSinceDate(Date other) const { return seconds_ - other.seconds_; }
  constexpr Date dateByAddingTimeInterval(double seconds) const { return Date(seconds_ + seconds); }

  constexpr auto operator<=>(const Date&) const = default;

 private:
  double seconds_ = 0.0;
};

}  // namespace tavo::platform
