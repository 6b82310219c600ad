#include "inapp/TAVOComunicationInteract.h"

#include "core/StringFormat.h"
#include "tavo/TAVOCampaign.h"

namespace tavo {

void TAVOComunicationInteract::initWithPromotion(const std::shared_ptr<TAVOCampaign>& campaign) {
  init();
  promotion = campaign;
  if (!campaign) return;
  objectData.set("tavo_campaign_id", StringFormat::format("%lld", static_cast<long long>(campaign->idPromo)));
  objectData.set("tavo_communication_id", StringFormat::format("%lu", campaign->type));
}

}  // namespace tavo
