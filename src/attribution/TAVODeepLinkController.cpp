#include "attribution/TAVODeepLinkController.h"

#include <vector>

#include "attribution/TAVOAttributionController.h"
#include "attribution/TAVODeepLinkActionsController.h"
#include "core/TAVOController.h"
#include "core/TAVOLogger.h"
#include "platform/Application.h"
#include "platform/Platform.h"
#include "platform/URLComponents.h"

namespace tavo {

namespace {

// The platform's componentsSeparatedByString: "" gives one empty piece, "a," gives "a" and "".
std::vector<std::string> split(const std::string& text, char separator) {
  std::vector<std::string> pieces;
  std::string::size_type start = 0;
  for (;;) {
    const auto end = text.find(separator, start);
    pieces.push_back(text.substr(start, end - start));
    if (end == std::string::npos) return pieces;
    start = end + 1;
  }
}

}  // namespace

void TAVODeepLinkController::handleURL(const std::optional<std::string>& url) {
  if (!url) return;
  if (auto attribution = TAVOController::sharedInstance().attributionController())
    attribution->processAttributionIfNeeded(url);
  processQueryStringActions(*url);
}

void TAVODeepLinkController::processQueryStringActions(const std::string& url) {
  const auto components = platform::URLComponents::fromString(url);
  if (!components) return;
  const auto items = components->queryItems();
  if (!items) return;
  std::vector<std::string> actions;
  std::vector<std::string> values;
  for (const auto& item : *items) {
    if (!item.value) continue;
    if (item.name == "qrvact") actions = split(*item.value, ',');
    if (item.name == "qrvval") values = split(*item.value, ',');
  }
  if (actions.empty() || actions.size() != values.size()) return;
  TAVODeepLinkActionsController actionsController;
  for (std::size_t i = 0; i < actions.size(); ++i) actionsController.executeAction(actions[i], values[i]);
}

void TAVODeepLinkController::open(const std::shared_ptr<platform::Application>& application, const std::string& url) {
  TAVOLogger::log("Open deeplink %@ instead of webview", url);
  if (!application) return;
  platform::Platform::shared().mainLoop->post([application, url] { application->openURL(url); });
}

}  // namespace tavo
