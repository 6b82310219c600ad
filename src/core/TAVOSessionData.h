#pragma once

#include <optional>

#include "persistence/AutoCoding.h"

namespace tavo {

// The running statistics of sessions, persisted whole: the average session length in seconds and the
// number of sessions ended so far.
class TAVOSessionData : public AutoCoding {
 public:
  std::optional<double> sessionTime = 0.0;
  std::optional<double> sessionNumber = 0.0;
  bool isBlocked = false;  // kept with the data; nothing reads or changes it

  std::string className() const override { return "TAVOSessionData"; }
  const std::vector<Property>& codableProperties() const override;
};

}  // namespace tavo
