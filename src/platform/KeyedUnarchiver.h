#pragma once

#include <optional>
#include <string>

#include "tavo/platform/Value.h"

namespace tavo::platform {

// Reads a keyed archive made by KeyedArchiver (or by the phone platform's archiver, same layout).
//
// Bytes that are not a keyed archive (not a property list, no "$archiver", broken "$objects" references)
// or that name a class the ClassRegistry does not know raise platform::Exception named
// kInvalidUnarchiveOperationException. A decoded value of another class than the one asked for is not an
// invalid archive: decodeObjectOfClass returns it and the caller decides (see classMatches).
class KeyedUnarchiver {
 public:
  // The root object, or nullopt for an archive of nothing.
  static std::optional<Value> unarchiveObjectWithData(const Data& data);

  // Used by Codable::initWithCoder.
  std::optional<Value> decodeObjectForKey(const std::string& key);
  // Same as decodeObjectForKey; className is the class the caller expects (for secure coding).
  std::optional<Value> decodeObjectOfClass(const std::string& className, const std::string& key);
  bool containsValueForKey(const std::string& key) const;
  bool requiresSecureCoding() const { return true; }

  // Whether value is of the named class or a kind of it ("NSObject" admits everything, "NSMutableArray"
  // counts as "NSArray", and so on).
  static bool classMatches(const Value& value, const std::string& className);

  ~KeyedUnarchiver();
  KeyedUnarchiver(const KeyedUnarchiver&) = delete;
  KeyedUnarchiver& operator=(const KeyedUnarchiver&) = delete;

 private:
  KeyedUnarchiver();
  struct State;
  State* state_;
};

}  // namespace tavo::platform
