#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/Color.h"

namespace tavo::platform::ui {

// Colours as text, for the host's C calls and the pictures: "#RGB", "#RRGGBB" or "#RRGGBBAA", with or
// without the "#", in either case.
class ColorText {
 public:
  // nullopt for anything else (an empty text, a stray character, a wrong length).
  static std::optional<Color> parseHex(std::string_view text);
  // "#RRGGBB", or "#RRGGBBAA" when the colour is not opaque.
  static std::string hex(const Color& color);
};

}  // namespace tavo::platform::ui
