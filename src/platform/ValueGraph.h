#pragma once

#include <cstdint>
#include <string_view>

#include "tavo/platform/Value.h"

namespace tavo::platform {

// A Value is a graph: arrays, dictionaries and data are shared by reference, and an archive read back shares
// whatever its author made shared. A walk that writes every reference out in full (a description, JSON text, a
// property list) does work in the size of the tree the graph unfolds to, which for a few hundred bytes of a
// hostile archive is 2^40 nodes. Those walks count what they wrote and, past a threshold, ask refusesToUnfold
// once: a value that unfolds to far more than it holds is refused rather than written.
class ValueGraph {
 public:
  // A value unfolding to at most this many nodes is always written, however much it shares.
  static constexpr std::uint64_t kMinNodeBudget = std::uint64_t{1} << 16;
  // Otherwise its tree may hold at most this many times its own nodes (a host reusing one dictionary in every
  // event of a batch stays well within it).
  static constexpr std::uint64_t kMaxUnfolding = 256;
  // Walks that write a value out measure it once past this much text: little next to the text a value that
  // large writes, and early enough that a refused one costs milliseconds, not megabytes.
  static constexpr std::uint64_t kUnfoldingCheckBytes = 64u << 10;

  struct Size {
    std::uint64_t held = 0;      // nodes in memory: each shared part counted once
    std::uint64_t unfolded = 0;  // nodes of the tree a full walk visits (saturates)
  };
  // Linear in the nodes held.
  static Size measure(const Value& value);

  // True when value unfolds past its budget; then writes a line naming the walk to the system log.
  static bool refusesToUnfold(const Value& value, std::string_view walk);
};

}  // namespace tavo::platform
