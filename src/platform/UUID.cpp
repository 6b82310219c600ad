#include "platform/UUID.h"

#include <sys/random.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <random>

#include "platform/Exception.h"

namespace tavo::platform {

namespace {

using Bytes = std::array<std::uint8_t, 16>;

// SHA-1 (FIPS 180-4), only for version 5 identifiers: their layout is defined over this digest.
class Sha1 {
 public:
  void update(const std::uint8_t* data, std::size_t size) {
    length_ += size;
    for (std::size_t i = 0; i < size; ++i) {
      block_[blockUsed_++] = data[i];
      if (blockUsed_ == block_.size()) {
        compress();
        blockUsed_ = 0;
      }
    }
  }

  std::array<std::uint8_t, 20> finish() {
    const std::uint64_t bitLength = length_ * 8;
    const std::uint8_t marker = 0x80;
    update(&marker, 1);
    const std::uint8_t zero = 0;
    while (blockUsed_ != 56) update(&zero, 1);
    std::uint8_t lengthBytes[8];
    for (int i = 0; i < 8; ++i) lengthBytes[i] = static_cast<std::uint8_t>(bitLength >> (56 - 8 * i));
    update(lengthBytes, sizeof lengthBytes);

    std::array<std::uint8_t, 20> digest{};
    for (std::size_t i = 0; i < 5; ++i) {
      for (std::size_t j = 0; j < 4; ++j)
        digest[4 * i + j] = static_cast<std::uint8_t>(state_[i] >> (24 - 8 * j));
    }
    return digest;
  }

 private:
  static std::uint32_t rotateLeft(std::uint32_t x, int n) { return (x << n) | (x >> (32 - n)); }

  void compress() {
    std::uint32_t w[80];
    for (std::size_t i = 0; i < 16; ++i) {
      w[i] = std::uint32_t{block_[4 * i]} << 24 | std::uint32_t{block_[4 * i + 1]} << 16 |
             std::uint32_t{block_[4 * i + 2]} << 8 | std::uint32_t{block_[4 * i + 3]};
    }
    for (std::size_t i = 16; i < 80; ++i) w[i] = rotateLeft(w[i - 3] ^ w[i - 8] ^ w[i - 14] ^ w[i - 16], 1);

    std::uint32_t a = state_[0], b = state_[1], c = state_[2], d = state_[3], e = state_[4];
    for (std::size_t i = 0; i < 80; ++i) {
      std::uint32_t f, k;
      if (i < 20) {
        f = (b & c) | (~b & d);
        k = 0x5A827999;
      } else if (i < 40) {
        f = b ^ c ^ d;
        k = 0x6ED9EBA1;
      } else if (i < 60) {
        f = (b & c) | (b & d) | (c & d);
        k = 0x8F1BBCDC;
      } else {
        f = b ^ c ^ d;
        k = 0xCA62C1D6;
      }
      const std::uint32_t next = rotateLeft(a, 5) + f + e + k + w[i];
      e = d;
      d = c;
      c = rotateLeft(b, 30);
      b = a;
      a = next;
    }
    state_[0] += a;
    state_[1] += b;
    state_[2] += c;
    state_[3] += d;
    state_[4] += e;
  }

  std::array<std::uint32_t, 5> state_{0x67452301, 0xEFCDAB89, 0x98BADCFE, 0x10325476, 0xC3D2E1F0};
  std::array<std::uint8_t, 64> block_{};
  std::size_t blockUsed_ = 0;
  std::uint64_t length_ = 0;
};

std::string format(Bytes bytes, std::uint8_t version) {
  bytes[6] = static_cast<std::uint8_t>((bytes[6] & 0x0F) | (version << 4));
  bytes[8] = static_cast<std::uint8_t>((bytes[8] & 0x3F) | 0x80);  // RFC 4122 variant
  static constexpr char kHex[] = "0123456789ABCDEF";
  std::string text;
  text.reserve(36);
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    if (i == 4 || i == 6 || i == 8 || i == 10) text += '-';
    text += kHex[bytes[i] >> 4];
    text += kHex[bytes[i] & 0x0F];
  }
  return text;
}

int hexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// Namespaces are constants in the caller's code, so a malformed one is a programming error.
Bytes parse(const std::string& text) {
  Bytes bytes{};
  bool valid = text.size() == 36;
  std::size_t out = 0;
  for (std::size_t i = 0; valid && i < text.size();) {
    if (i == 8 || i == 13 || i == 18 || i == 23) {
      valid = text[i] == '-';
      ++i;
      continue;
    }
    const int high = hexDigit(text[i]);
    const int low = i + 1 < text.size() ? hexDigit(text[i + 1]) : -1;
    valid = high >= 0 && low >= 0;
    if (valid) bytes[out++] = static_cast<std::uint8_t>(high << 4 | low);
    i += 2;
  }
  if (!valid) throw Exception("NSInvalidArgumentException", "Invalid namespace UUID: " + text);
  return bytes;
}

void fillRandom(Bytes& bytes) {
  // getrandom is fork-safe and needs no per-thread state; fall back to random_device only if the kernel
  // refuses (very old kernels, seccomp filters).
  std::size_t filled = 0;
  while (filled < bytes.size()) {
    const ssize_t n = getrandom(bytes.data() + filled, bytes.size() - filled, 0);
    if (n > 0) {
      filled += static_cast<std::size_t>(n);
    } else if (n < 0 && errno != EINTR) {
      break;
    }
  }
  if (filled == bytes.size()) return;
  thread_local std::random_device device;
  for (std::size_t i = 0; i < bytes.size(); i += 4) {
    const unsigned value = device();
    for (std::size_t j = 0; j < 4; ++j) bytes[i + j] = static_cast<std::uint8_t>(value >> (8 * j));
  }
}

}  // namespace

std::string UUID::randomUUIDString() {
  Bytes bytes;
  fillRandom(bytes);
  return format(bytes, 4);
}

std::string UUID::nameBasedUUIDString(const std::string& namespaceUUID, const std::string& name) {
  const Bytes space = parse(namespaceUUID);
  Sha1 sha;
  sha.update(space.data(), space.size());
  sha.update(reinterpret_cast<const std::uint8_t*>(name.data()), name.size());
  const auto digest = sha.finish();
  Bytes bytes;
  for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = digest[i];
  return format(bytes, 5);
}

}  // namespace tavo::platform
