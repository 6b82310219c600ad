#pragma once

#include <memory>
#include <optional>
#include <string>

namespace tavo {

namespace platform {
class Application;
}

// Handles a link that opened the app and is not a short link: click attribution first, then the actions
// in its query. Also opens deep links for in-app campaigns whose target is not a web page. Made afresh for
// each use; keeps no state.
class TAVODeepLinkController {
 public:
  // Attribution, then query-string actions. nullopt does nothing.
  void handleURL(const std::optional<std::string>& url);
  // Splits "qrvact" and "qrvval" at ","; runs every action with its value when both lists are the same
  // length, none otherwise.
  void processQueryStringActions(const std::string& url);
  // Asks the application, on the main thread, to open url.
  void open(const std::shared_ptr<platform::Application>& application, const std::string& url);
};

}  // namespace tavo
