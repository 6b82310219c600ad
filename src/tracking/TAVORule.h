#pragma once

#include <memory>

#include "tavo/TAVOCampaign.h"

namespace tavo {

// The server's answer to an event that asked for rules: one campaign to show at once (a plain campaign, or
// its banner, AdBall or strip form).
struct TAVORule {
  std::shared_ptr<TAVOCampaign> campaign;
};

}  // namespace tavo
