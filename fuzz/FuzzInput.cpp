#include "FuzzInput.h"

#include <cstring>
#include <limits>

namespace tavo::fuzzing {

std::int32_t FuzzInput::int32() {
  std::uint32_t bits = 0;
  for (int i = 0; i < 4; ++i) bits |= static_cast<std::uint32_t>(byte()) << (8 * i);
  std::int32_t value;
  std::memcpy(&value, &bits, sizeof value);
  return value;
}

double FuzzInput::number() {
  const std::uint8_t choice = byte();
  switch (choice % 8) {
    case 0: return 0.0;
    case 1: return -1.5;
    case 2: return 1e300;
    case 3: return std::numeric_limits<double>::quiet_NaN();
    case 4: return std::numeric_limits<double>::infinity();
    case 5: return 3.4e38;
    default: return choice / 8.0;
  }
}

std::string FuzzInput::text() {
  const std::size_t start = at_;
  while (at_ < size_ && data_[at_] != 0) ++at_;
  std::string out(reinterpret_cast<const char*>(data_) + start, at_ - start);
  if (at_ < size_) ++at_;  // the NUL
  return out;
}

std::optional<std::string> FuzzInput::maybeText() {
  std::string read = text();
  if (read == "\x01") return std::nullopt;
  return read;
}

std::vector<std::uint8_t> FuzzInput::bytes() {
  const std::size_t count = byte();
  std::vector<std::uint8_t> out;
  for (std::size_t i = 0; i < count && !empty(); ++i) out.push_back(byte());
  return out;
}

}  // namespace tavo::fuzzing
