#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tavo::fuzzing {

// A fuzzer's bytes read as a program: small choices, numbers and NUL-terminated texts, in the order the target
// asks for them. Past the end every read gives zero or empty, so a short input is simply a short program.
class FuzzInput {
 public:
  FuzzInput(const std::uint8_t* data, std::size_t size) : data_(data), size_(size) {}

  bool empty() const { return at_ >= size_; }
  std::uint8_t byte() { return empty() ? 0 : data_[at_++]; }
  bool flag() { return (byte() & 1) != 0; }
  // Four bytes, little-endian.
  std::int32_t int32();
  // One of the numbers that break arithmetic (zero, negative, huge, not finite) or a small one.
  double number();
  // The bytes up to the next NUL or the end; the NUL is consumed.
  std::string text();
  // A text, or nothing when the text is the single byte 0x01 (a NULL pointer where the callee takes one).
  std::optional<std::string> maybeText();
  // Up to 255 bytes, their count first.
  std::vector<std::uint8_t> bytes();

 private:
  const std::uint8_t* data_;
  std::size_t size_;
  std::size_t at_ = 0;
};

}  // namespace tavo::fuzzing
