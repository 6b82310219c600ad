#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>

#include "platform/ui/Control.h"

namespace tavo::platform::ui {

class Image;
class ImageView;
class Label;

// A control with a title and an image per state (a state without its own falls back to the normal one),
// laid out side by side in the middle: the image first, then the title.
class Button : public Control {
 public:
  enum class Type { Custom = 0, System = 1 };

  explicit Button(Rect frame = {}, Type type = Type::Custom);
  std::string className() const override { return "UIButton"; }
  Type buttonType() const { return type_; }

  void setTitle(std::optional<std::string> title, unsigned state = ControlStateNormal);
  std::optional<std::string> title(unsigned state = ControlStateNormal) const;
  std::optional<std::string> currentTitle() const { return title(state()); }
  void setTitleColor(Color color, unsigned state = ControlStateNormal);
  Color titleColor(unsigned state = ControlStateNormal) const;
  void setImage(std::shared_ptr<Image> image, unsigned state = ControlStateNormal);
  std::shared_ptr<Image> image(unsigned state = ControlStateNormal) const;
  std::shared_ptr<Image> currentImage() const { return image(state()); }

  // Made on first use, as subviews of the button.
  std::shared_ptr<Label> titleLabel();
  std::shared_ptr<ImageView> imageView();

  void layoutSubviews() override;
  Size sizeThatFits(Size size) const override;

 protected:
  void stateDidChange() override;

 private:
  void refresh();
  template <typename T>
  static std::optional<T> forState(const std::map<unsigned, T>& values, unsigned state);

  Type type_;
  std::map<unsigned, std::string> titles_;
  std::map<unsigned, Color> titleColors_;
  std::map<unsigned, std::shared_ptr<Image>> images_;
  std::shared_ptr<Label> titleLabel_;
  std::shared_ptr<ImageView> imageView_;
};

}  // namespace tavo::platform::ui
