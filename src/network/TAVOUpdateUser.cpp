#include "network/TAVOUpdateUser.h"

#include "core/TAVOController.h"
#include "network/TAVOResponseType.h"
#include "tracking/TAVOUser.h"

namespace tavo {

void TAVOUpdateUser::init() {
  TAVOTransmitObject::init();
  tavoUser = TAVOController::sharedInstance().currentUser();
  if (tavoUser && tavoUser->getCustomerID()) objectData.set("customerid", *tavoUser->getCustomerID());
  updateUserType = Update;
}

void TAVOUpdateUser::initWithExtras(const std::optional<platform::Dictionary>& userExtras, bool retrieve) {
  init();
  if (retrieve) objectData.set("tavo_retrieve", "yes");
  extras = userExtras;
  if (userExtras) addExtraData(*userExtras);
}

int TAVOUpdateUser::operationResponseType() const {
  const platform::Value* retrieve = objectData.find("tavo_retrieve");
  return retrieve && *retrieve == platform::Value("yes") ? TAVOResponseUserData : TAVOResponseStatus;
}

}  // namespace tavo
