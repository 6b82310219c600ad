#pragma once

#include <memory>

#include "persistence/TAVOTransmitObject.h"

namespace tavo {

class TAVOCampaign;

// A receipt of the user's interaction with a campaign, sent alone to "setcommunicationinteract"
// (TAVORequest::requestWithInteract): the campaign's id and type code, each as decimal text.
class TAVOComunicationInteract : public TAVOTransmitObject {
 public:
  void initWithPromotion(const std::shared_ptr<TAVOCampaign>& campaign);

  std::shared_ptr<TAVOCampaign> promotion;
};

}  // namespace tavo
