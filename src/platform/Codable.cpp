#include "platform/Codable.h"

#include <algorithm>

namespace tavo::platform {

bool Codable::isKindOfClass(const std::string& name) const {
  const std::vector<std::string> hierarchy = classHierarchy();
  return std::find(hierarchy.begin(), hierarchy.end(), name) != hierarchy.end();
}

}  // namespace tavo::platform
