#pragma once

#include <memory>
#include <optional>

#include "tavo/platform/Value.h"

namespace tavo::platform {

// Property lists (binary or XML) to and from the Value model, through libplist.
class PropertyListSerialization {
 public:
  enum class Format { Binary, XML };

  // Parses binary or XML property-list bytes; nullopt when they are neither. UID nodes (only found in
  // keyed archives) are not Values: reading a list that holds one gives nullopt; use KeyedUnarchiver.
  static std::optional<Value> propertyListWithData(const Data& data);
  // nullopt when the value holds the null object or an archivable object (not property-list types).
  static std::optional<Data> dataWithPropertyList(const Value& value, Format format = Format::Binary);

  // For the keyed unarchiver, which needs the UID nodes a Value cannot hold: libplist's own tree of data
  // (a plist_t), freed when the handle goes. Empty when the bytes are not a property list, or are nested
  // or self-referencing so deeply that parsing them would exhaust the stack or memory.
  using NodeTree = std::unique_ptr<void, void (*)(void*)>;
  static NodeTree parseNodeTree(const Data& data);
};

}  // namespace tavo::platform
