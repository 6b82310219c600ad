#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "persistence/AutoCoding.h"

namespace tavo {

// One re-engagement click campaign kept in the store while its attribution window is open: keyed by the
// link's campaign hash, dated by its first click, and carrying the link's own query parameters.
class TAVOAttributionCampaign : public AutoCoding {
 public:
  std::optional<std::string> hashSource;  // the link's "ecid" (or "entw") value
  std::optional<std::string> created;     // first click, "yyyy-MM-dd HH:mm:ss"
  std::optional<std::string> updated;     // latest click on the same campaign; absent until a second one
  std::optional<platform::Dictionary> params;
  std::int32_t attrWindow = 0;  // hours

  // The wire form: "hash", "date" (the latest click) and "attrw".
  platform::Dictionary toDict() const;

  std::string className() const override { return "TAVOAttributionCampaign"; }
  const std::vector<Property>& codableProperties() const override;
};

}  // namespace tavo
