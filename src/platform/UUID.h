#pragma once

#include <string>

namespace tavo::platform {

// Universally unique identifiers in the canonical upper-case text form (8-4-4-4-12 hex digits).
class UUID {
 public:
  // A random (version 4) identifier.
  static std::string randomUUIDString();
  // A name-based (version 5, SHA-1) identifier: the same namespace and name always give the same text.
  static std::string nameBasedUUIDString(const std::string& namespaceUUID, const std::string& name);
};

}  // namespace tavo::platform
