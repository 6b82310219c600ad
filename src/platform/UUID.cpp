#include "platform/UUID.h"

#include <pthread.h>
#include <sys/random.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstring>
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
      for (std::size_t j = 0; j < 4; ++j) digest[4 * i + j] = static_cast<std::uint8_t>(state_[i] >> (24 - 8 * j));
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
  char text[36];
  std::size_t at = 0;
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    if (i == 4 || i == 6 || i == 8 || i == 10) text[at++] = '-';
    text[at++] = kHex[bytes[i] >> 4];
    text[at++] = kHex[bytes[i] & 0x0F];
  }
  return std::string(text, sizeof text);
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

// Kernel randomness, for seeds.
void kernelRandom(std::uint8_t* bytes, std::size_t size) {
  // getrandom is fork-safe and needs no per-thread state; fall back to random_device only if the kernel
  // refuses (very old kernels, seccomp filters).
  std::size_t filled = 0;
  while (filled < size) {
    const ssize_t n = getrandom(bytes + filled, size - filled, 0);
    if (n > 0) {
      filled += static_cast<std::size_t>(n);
    } else if (n < 0 && errno != EINTR) {
      break;
    }
  }
  if (filled == size) return;
  thread_local std::random_device device;
  for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<std::uint8_t>(device());
}

// Bumped in a forked child: its generators must not go on with the parent's sequence.
std::atomic<std::uint64_t> forkGeneration{0};

// A system call per identifier costs more than the rest of an event's tracking, so each thread draws from
// its own xoshiro256** generator (D. Blackman, S. Vigna) seeded with 256 bits from the kernel: identifiers
// stay as unique as the seed is random, which is all a random identifier promises.
class RandomSource {
 public:
  void fill(Bytes& bytes) {
    static const bool forkWatched = pthread_atfork(nullptr, nullptr, [] { forkGeneration.fetch_add(1); }) == 0;
    if (!seeded_ || !forkWatched || generation_ != forkGeneration.load(std::memory_order_relaxed)) seed();
    for (std::size_t i = 0; i < bytes.size(); i += 8) {
      const std::uint64_t value = next();
      std::memcpy(bytes.data() + i, &value, 8);
    }
  }

 private:
  void seed() {
    generation_ = forkGeneration.load(std::memory_order_relaxed);
    do {
      kernelRandom(reinterpret_cast<std::uint8_t*>(state_.data()), sizeof state_);
    } while (state_[0] == 0 && state_[1] == 0 && state_[2] == 0 && state_[3] == 0);  // the one bad state
    seeded_ = true;
  }

  static std::uint64_t rotateLeft(std::uint64_t x, int n) { return (x << n) | (x >> (64 - n)); }

  std::uint64_t next() {
    const std::uint64_t result = rotateLeft(state_[1] * 5, 7) * 9;
    const std::uint64_t t = state_[1] << 17;
    state_[2] ^= state_[0];
    state_[3] ^= state_[1];
    state_[1] ^= state_[2];
    state_[0] ^= state_[3];
    state_[2] ^= t;
    state_[3] = rotateLeft(state_[3], 45);
    return result;
  }

  std::array<std::uint64_t, 4> state_{};
  std::uint64_t generation_ = 0;
  bool seeded_ = false;
};

void fillRandom(Bytes& bytes) {
  thread_local RandomSource source;
  source.fill(bytes);
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
