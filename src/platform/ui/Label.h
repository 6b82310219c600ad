#pragma once

#include <optional>
#include <string>

#include "platform/ui/View.h"

namespace tavo::platform::ui {

enum class TextAlignment { Left = 0, Center = 1, Right = 2, Justified = 3, Natural = 4 };

// A view that shows text: font size and weight, colour, alignment, and at most numberOfLines lines (0 is
// no limit; longer text is cut with an ellipsis). Takes no touches by default.
class Label : public View {
 public:
  explicit Label(Rect frame = {});
  std::string className() const override { return "UILabel"; }

  const std::optional<std::string>& text() const { return text_; }
  void setText(std::optional<std::string> text);
  double fontSize() const { return fontSize_; }
  bool isBold() const { return bold_; }
  void setFont(double size, bool bold = false);
  const Color& textColor() const { return textColor_; }
  void setTextColor(Color color);
  TextAlignment textAlignment() const { return alignment_; }
  void setTextAlignment(TextAlignment alignment);
  int numberOfLines() const { return lines_; }
  void setNumberOfLines(int lines);

  // An estimate without a font engine: an average glyph of 0.6 em (0.66 bold), lines of 1.35 em, broken at
  // the width.
  Size sizeThatFits(Size size) const override;

 private:
  std::optional<std::string> text_;
  double fontSize_ = 17.0;
  bool bold_ = false;
  Color textColor_{0, 0, 0, 1};
  TextAlignment alignment_ = TextAlignment::Natural;
  int lines_ = 1;
};

}  // namespace tavo::platform::ui
