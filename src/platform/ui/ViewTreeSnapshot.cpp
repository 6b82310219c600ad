#include "platform/ui/ViewTreeSnapshot.h"

#include <cmath>
#include <nlohmann/json.hpp>

#include "platform/ui/Button.h"
#include "platform/ui/ColorText.h"
#include "platform/ui/Image.h"
#include "platform/ui/ImageView.h"
#include "platform/ui/Label.h"
#include "platform/ui/UserInterface.h"
#include "platform/ui/ViewController.h"
#include "platform/ui/WebView.h"
#include "platform/ui/Window.h"

namespace tavo::platform::ui {

namespace {

using Json = nlohmann::ordered_json;

// Hundredths are enough, and keep sums like 0.1 + 0.2 from showing their float noise.
double rounded(double value) { return std::round(value * 100) / 100; }

Json frameOf(const Rect& r) {
  return Json::array({rounded(r.origin.x), rounded(r.origin.y), rounded(r.size.width), rounded(r.size.height)});
}

Json describe(const View& view) {
  Json node;
  node["class"] = view.className();
  node["frame"] = frameOf(view.frame());
  node["hidden"] = view.isHidden();
  node["alpha"] = rounded(view.alpha());
  if (const auto controller = view.viewController(); controller && controller->viewIfLoaded().get() == &view)
    node["controller"] = controller->className();
  if (!view.accessibilityIdentifier().empty()) node["accessibilityIdentifier"] = view.accessibilityIdentifier();
  if (view.tag() != 0) node["tag"] = view.tag();
  if (const auto& color = view.backgroundColor()) node["backgroundColor"] = ColorText::hex(*color);
  if (const auto* window = dynamic_cast<const Window*>(&view)) {
    node["level"] = window->windowLevel();
    node["key"] = window->isKeyWindow();
    if (const auto root = window->rootViewController()) node["rootViewController"] = root->className();
  }
  if (const auto* label = dynamic_cast<const Label*>(&view)) {
    node["text"] = label->text() ? Json(*label->text()) : Json();
  }
  if (const auto* button = dynamic_cast<const Button*>(&view)) {
    const auto title = button->currentTitle();
    node["title"] = title ? Json(*title) : Json();
  }
  if (const auto* imageView = dynamic_cast<const ImageView*>(&view)) {
    const auto& image = imageView->image();
    node["image"] = image ? Json(image->source()) : Json();
    if (image && image->isAnimated()) node["frames"] = image->frames().size();
  }
  if (const auto* web = dynamic_cast<const WebView*>(&view)) {
    node["url"] = web->url() ? Json(*web->url()) : Json();
    node["pageTitle"] = web->title() ? Json(*web->title()) : Json();
  }
  if (!view.subviews().empty()) {
    Json children = Json::array();
    for (const auto& child : view.subviews()) children.push_back(describe(*child));
    node["subviews"] = std::move(children);
  }
  return node;
}

}  // namespace

std::string ViewTreeSnapshot::json(UserInterface& ui) {
  UserInterface::checkMainThread("ViewTreeSnapshot::json");
  ui.layoutIfNeeded();
  const Screen& screen = ui.screen();
  Json root;
  root["screen"] = Json{{"width", rounded(screen.bounds().width())},
                        {"height", rounded(screen.bounds().height())},
                        {"scale", screen.scale()},
                        {"orientation", static_cast<int>(screen.statusBarOrientation())}};
  Json windows = Json::array();
  for (const auto& window : ui.windows()) windows.push_back(describe(*window));
  root["windows"] = std::move(windows);
  // Text from a host may not be valid UTF-8: it is shown with replacement characters, not refused.
  return root.dump(2, ' ', false, Json::error_handler_t::replace);
}

}  // namespace tavo::platform::ui
