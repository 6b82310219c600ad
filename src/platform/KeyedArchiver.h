#pragma once

#include <string>

#include "tavo/platform/Value.h"

namespace tavo::platform {

// Turns an object graph into a keyed archive: a binary property list with "$archiver" = "NSKeyedArchiver",
// "$version", "$top" {"root": UID} and "$objects" (the platform's keyed layout, one class name per object).
// Values of every Value type can be archived; objects (Codable) code themselves through encodeObject.
class KeyedArchiver {
 public:
  // The archive of root as binary property-list bytes. nullopt gives an archive of nothing (its root refers
  // to "$null"), which unarchives to nullopt; the null Value is archived as the null object.
  static Data archivedDataWithRootObject(const std::optional<Value>& root);

  // Used by Codable::encodeWithCoder: stores value under key in the object being encoded.
  void encodeObject(const Value& value, const std::string& key);
  bool requiresSecureCoding() const { return true; }

  ~KeyedArchiver();
  KeyedArchiver(const KeyedArchiver&) = delete;
  KeyedArchiver& operator=(const KeyedArchiver&) = delete;

 private:
  KeyedArchiver();
  struct State;
  State* state_;
};

}  // namespace tavo::platform
