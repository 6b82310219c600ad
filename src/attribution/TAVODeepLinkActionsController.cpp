#include "attribution/TAVODeepLinkActionsController.h"

#include "tavo/TAVO.h"

namespace tavo {

void TAVODeepLinkActionsController::executeAction(const std::string& action, const std::string& value) {
  if (action.rfind("tag[", 0) != 0) return;
  const auto open = action.find('[');
  const auto close = action.find(']');
  // "tag[key" without its bracket takes the rest of the text as the key.
  const std::string key =
      close == std::string::npos || close < open ? action.substr(open + 1) : action.substr(open + 1, close - open - 1);
  TAVOLegacy::trackExtraUserInfo(platform::Dictionary{{key, value}});
}

}  // namespace tavo
