#pragma once

#include <nlohmann/json.hpp>
#include <string>

namespace tavo::emulator {

// The images the emulator serves for its campaigns (a banner, an AdBall): a PNG of one colour with a line of
// text in the middle, drawn with Cairo, so a picture of the app shows which campaign it got.
class PlaceholderImage {
 public:
  // spec: {"width", "height", "color": "#RRGGBB", "text"} as the fixtures checked it. Empty when Cairo fails.
  static std::string png(const nlohmann::ordered_json& spec);
};

}  // namespace tavo::emulator
