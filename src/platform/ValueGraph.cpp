#include "platform/ValueGraph.h"

#include <algorithm>
#include <limits>
#include <string>
#include <unordered_map>

#include "platform/Platform.h"

namespace tavo::platform {

namespace {

constexpr std::uint64_t kSaturated = std::numeric_limits<std::uint64_t>::max();

std::uint64_t add(std::uint64_t a, std::uint64_t b) { return a > kSaturated - b ? kSaturated : a + b; }

class Measure {
 public:
  // The nodes of value's tree; each collection is entered once, later references reuse its count.
  std::uint64_t unfolded(const Value& value) {
    const void* identity = value.asArray()        ? static_cast<const void*>(value.asArray())
                           : value.asDictionary() ? value.asDictionary()->identity()
                                                  : nullptr;
    if (!identity) {
      ++held_;
      return 1;
    }
    if (const auto it = known_.find(identity); it != known_.end()) return it->second;
    ++held_;
    std::uint64_t nodes = 1;
    if (const Array* array = value.asArray()) {
      for (const Value& item : *array) nodes = add(nodes, unfolded(item));
    } else {
      for (const auto& entry : *value.asDictionary()) nodes = add(nodes, add(1, unfolded(entry.second)));
      held_ += value.asDictionary()->size();  // the keys
    }
    known_.emplace(identity, nodes);
    return nodes;
  }

  std::uint64_t held() const { return held_; }

 private:
  std::unordered_map<const void*, std::uint64_t> known_;
  std::uint64_t held_ = 0;
};

}  // namespace

ValueGraph::Size ValueGraph::measure(const Value& value) {
  Measure measure;
  const std::uint64_t unfolded = measure.unfolded(value);
  return {measure.held(), unfolded};
}

bool ValueGraph::refusesToUnfold(const Value& value, std::string_view walk) {
  const Size size = measure(value);
  const std::uint64_t budget =
      std::max(kMinNodeBudget, size.held > kSaturated / kMaxUnfolding ? kSaturated : size.held * kMaxUnfolding);
  if (size.unfolded <= budget) return false;
  if (Platform::isInstalled()) {
    Platform::shared().systemLog->write(std::string(walk) + " refused: a value of " + std::to_string(size.held) +
                                        " nodes repeats its shared parts into more than " + std::to_string(budget));
  }
  return true;
}

}  // namespace tavo::platform
