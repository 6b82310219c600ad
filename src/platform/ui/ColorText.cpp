#include "platform/ui/ColorText.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace tavo::platform::ui {

namespace {

int hexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

int component(double value) { return static_cast<int>(std::lround(std::clamp(value, 0.0, 1.0) * 255)); }

}  // namespace

std::optional<Color> ColorText::parseHex(std::string_view text) {
  if (!text.empty() && text.front() == '#') text.remove_prefix(1);
  int digits[8];
  if (text.size() != 3 && text.size() != 6 && text.size() != 8) return std::nullopt;
  for (std::size_t i = 0; i < text.size(); ++i)
    if ((digits[i] = hexDigit(text[i])) < 0) return std::nullopt;
  if (text.size() == 3) return Color{digits[0] * 17 / 255.0, digits[1] * 17 / 255.0, digits[2] * 17 / 255.0, 1.0};
  const auto byte = [&](int i) { return (digits[2 * i] * 16 + digits[2 * i + 1]) / 255.0; };
  return Color{byte(0), byte(1), byte(2), text.size() == 8 ? byte(3) : 1.0};
}

std::string ColorText::hex(const Color& color) {
  char out[10];
  if (component(color.alpha) == 255) {
    std::snprintf(out, sizeof out, "#%02X%02X%02X", component(color.red), component(color.green),
                  component(color.blue));
  } else {
    std::snprintf(out, sizeof out, "#%02X%02X%02X%02X", component(color.red), component(color.green),
                  component(color.blue), component(color.alpha));
  }
  return out;
}

}  // namespace tavo::platform::ui
