#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tavo/platform/Value.h"

namespace tavo {

// printf-style formatting with the platform's object placeholder "%@", so messages keep the texts the
// system is known by ("Starting TAVO session:%@", "TAVO_%ld_%@", "%.02f", "%02x").
// Supported: %@ %d %i %u %ld %lu %lld %llu %f %.Nf %e %g %s %x %02x %c %%. An absent value prints "(null)".
class StringFormat {
 public:
  class Arg {
   public:
    Arg(const platform::Value& v) : value_(v) {}
    Arg(const std::optional<platform::Value>& v) : value_(v) {}
    Arg(const std::string& s) : value_(platform::Value(s)) {}
    Arg(std::string_view s) : value_(platform::Value(s)) {}
    Arg(const char* s) : value_(s ? std::optional<platform::Value>(platform::Value(s)) : std::nullopt) {}
    Arg(const std::optional<std::string>& s)
        : value_(s ? std::optional<platform::Value>(platform::Value(*s)) : std::nullopt) {}
    Arg(bool b) : value_(platform::Value(b)) {}
    Arg(int i) : value_(platform::Value(i)) {}
    Arg(unsigned i) : value_(platform::Value(i)) {}
    Arg(long i) : value_(platform::Value(i)) {}
    Arg(unsigned long i) : value_(platform::Value(i)) {}
    Arg(long long i) : value_(platform::Value(i)) {}
    Arg(unsigned long long i) : value_(platform::Value(i)) {}
    Arg(double d) : value_(platform::Value(d)) {}
    Arg(float f) : value_(platform::Value(f)) {}

    const std::optional<platform::Value>& value() const { return value_; }

   private:
    std::optional<platform::Value> value_;
  };

  static std::string format(std::string_view pattern, const std::vector<Arg>& args);

  template <class... A>
  static std::string format(std::string_view pattern, const A&... args) {
    // Built in place: no array of temporaries to copy from (and no compiler noise about destroying them).
    std::vector<Arg> list;
    list.reserve(sizeof...(A));
    (list.emplace_back(args), ...);
    return format(pattern, list);
  }
};

}  // namespace tavo
