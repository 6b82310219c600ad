#pragma once

#include <string>

namespace tavo {

// Runs the actions a deep link carries in its query ("qrvact" names, "qrvval" values). Made afresh for each
// link; keeps no state.
class TAVODeepLinkActionsController {
 public:
  // "tag[key]" tracks key = value as extra user information; any other action is ignored.
  void executeAction(const std::string& action, const std::string& value);
};

}  // namespace tavo
