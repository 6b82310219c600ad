#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "tavo/platform/Value.h"

namespace tavo {

// One event of the server's configuration, as the start-session answer lists them.
class TAVODashboardEvent {
 public:
  explicit TAVODashboardEvent(const platform::Value& element);

  bool isScreenEvent() const { return category && *category == "screen"; }

  std::int32_t _id = 0;
  std::optional<std::string> category;
  bool active = false;
  std::optional<std::string> token;
  std::optional<std::string> name;
};

}  // namespace tavo
