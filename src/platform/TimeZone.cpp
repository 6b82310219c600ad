#include "platform/TimeZone.h"

#include <unistd.h>

#include <array>
#include <atomic>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <string_view>
#include <utility>

namespace tavo::platform {

namespace {

std::string trimmed(const std::string& text) {
  const auto first = text.find_first_not_of(" \t\r\n");
  if (first == std::string::npos) return "";
  return text.substr(first, text.find_last_not_of(" \t\r\n") - first + 1);
}

// "/usr/share/zoneinfo/Europe/Madrid" -> "Europe/Madrid"; anything else stays as it is.
std::string zoneNameFromPath(const std::string& path) {
  static constexpr std::string_view kMarker = "zoneinfo/";
  const auto at = path.rfind(kMarker);
  return at == std::string::npos ? path : path.substr(at + kMarker.size());
}

std::string systemZoneName() {
  if (const char* tz = std::getenv("TZ")) {
    std::string name = tz;
    if (!name.empty() && name.front() == ':') name.erase(0, 1);
    // The C library reads a set but empty TZ as UTC; name it the same way so name and offsets agree.
    return name.empty() ? "UTC" : zoneNameFromPath(name);
  }
  std::ifstream file("/etc/timezone");
  std::string line;
  if (file && std::getline(file, line) && !trimmed(line).empty()) return trimmed(line);

  char target[4096];
  const ssize_t length = readlink("/etc/localtime", target, sizeof target - 1);
  if (length > 0) {
    const std::string path(target, static_cast<std::size_t>(length));
    if (path.find("zoneinfo/") != std::string::npos) return zoneNameFromPath(path);
  }
  return "UTC";
}

// Counts the loads of the C library's zone rules: offsets remembered under older rules are not used.
std::atomic<unsigned> rulesLoaded{0};

}  // namespace

TimeZone TimeZone::systemTimeZone() {
  // Load the C library's zone rules here, when the zone is looked up, so the offsets below follow the zone
  // this returns; localtime_r itself never reloads them, which keeps the per-date offsets cheap.
  tzset();
  rulesLoaded.fetch_add(1);
  return TimeZone(Kind::System, systemZoneName(), 0);
}

TimeZone TimeZone::utc() { return TimeZone(Kind::Fixed, "GMT", 0); }

TimeZone TimeZone::withSecondsFromGMT(int seconds, std::string name) {
  if (name.empty()) {
    name = "GMT";
    if (seconds != 0) {
      const long magnitude = std::labs(static_cast<long>(seconds));
      char suffix[32];
      std::snprintf(suffix, sizeof suffix, "%c%02ld%02ld", seconds < 0 ? '-' : '+', magnitude / 3600,
                    magnitude % 3600 / 60);
      name += suffix;
    }
  }
  return TimeZone(Kind::Fixed, std::move(name), seconds);
}

int TimeZone::secondsFromGMTForDate(Date date) const {
  if (kind_ == Kind::Fixed) return offset_;
  const double seconds = std::floor(date.timeIntervalSince1970());
  // Outside what time_t and struct tm can hold there is no rule to apply.
  if (!(std::fabs(seconds) < 1e15)) return 0;
  const std::time_t when = static_cast<std::time_t>(seconds);
  // Every payload asks for the offset of the current second, often many times in it: each thread keeps the
  // last answers, which under the same rules cannot change.
  struct Known {
    std::time_t when;
    unsigned rules;
    int offset;
  };
  thread_local std::array<Known, 2> known{Known{0, ~0u, 0}, Known{0, ~0u, 0}};
  thread_local std::size_t nextKnown = 0;
  const unsigned rules = rulesLoaded.load(std::memory_order_relaxed);
  for (const Known& k : known)
    if (k.when == when && k.rules == rules) return k.offset;
  std::tm local{};
  if (!localtime_r(&when, &local)) return 0;
  const int offset = static_cast<int>(local.tm_gmtoff);
  known[nextKnown] = Known{when, rules, offset};
  nextKnown = (nextKnown + 1) % known.size();
  return offset;
}

}  // namespace tavo::platform
