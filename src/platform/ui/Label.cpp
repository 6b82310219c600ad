#include "platform/ui/Label.h"

#include <algorithm>
#include <cmath>

namespace tavo::platform::ui {

namespace {

// Close to the pictures' font (DejaVu Sans): an average glyph, a bold one, and a line.
constexpr double kGlyphWidthEm = 0.6;
constexpr double kBoldGlyphWidthEm = 0.66;
constexpr double kLineHeightEm = 1.35;

// Characters, not bytes: UTF-8 continuation bytes do not count.
std::size_t characters(const std::string& text) {
  return static_cast<std::size_t>(
      std::count_if(text.begin(), text.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; }));
}

}  // namespace

Label::Label(Rect frame) : View(frame) { setUserInteractionEnabled(false); }

void Label::setText(std::optional<std::string> text) {
  text_ = std::move(text);
  setNeedsDisplay();
}

void Label::setFont(double size, bool bold) {
  fontSize_ = std::isfinite(size) && size > 0 ? size : 17.0;
  bold_ = bold;
  setNeedsDisplay();
}

void Label::setTextColor(Color color) {
  textColor_ = color;
  setNeedsDisplay();
}

void Label::setTextAlignment(TextAlignment alignment) {
  alignment_ = alignment;
  setNeedsDisplay();
}

void Label::setNumberOfLines(int lines) {
  lines_ = std::max(0, lines);
  setNeedsDisplay();
}

Size Label::sizeThatFits(Size size) const {
  if (!text_ || text_->empty()) return {0, 0};
  const double glyph = fontSize_ * (bold_ ? kBoldGlyphWidthEm : kGlyphWidthEm);
  const double natural = std::ceil(static_cast<double>(characters(*text_)) * glyph);
  const double limit = size.width > 0 ? size.width : natural;
  double lines = std::max(1.0, std::ceil(natural / std::max(limit, glyph)));
  if (lines_ > 0) lines = std::min(lines, static_cast<double>(lines_));
  return {std::min(natural, limit), std::ceil(lines * fontSize_ * kLineHeightEm)};
}

}  // namespace tavo::platform::ui
