#include "platform/ui/Button.h"

#include <algorithm>

#include "platform/ui/Image.h"
#include "platform/ui/ImageView.h"
#include "platform/ui/Label.h"

namespace tavo::platform::ui {

namespace {

constexpr Color kTint{0.0, 122 / 255.0, 1.0, 1.0};
constexpr double kTitleFontSize = 15.0;
constexpr double kImageTitleGap = 4.0;

}  // namespace

Button::Button(Rect frame, Type type) : Control(frame), type_(type) {}

template <typename T>
std::optional<T> Button::forState(const std::map<unsigned, T>& values, unsigned state) {
  // The exact state, else the state without its highlight, else normal.
  for (const unsigned s : {state, state & ~unsigned(ControlStateHighlighted), unsigned(ControlStateNormal)})
    if (const auto it = values.find(s); it != values.end()) return it->second;
  return std::nullopt;
}

void Button::setTitle(std::optional<std::string> title, unsigned state) {
  if (title) {
    titles_[state] = std::move(*title);
  } else {
    titles_.erase(state);
  }
  refresh();
}

std::optional<std::string> Button::title(unsigned state) const { return forState(titles_, state); }

void Button::setTitleColor(Color color, unsigned state) {
  titleColors_[state] = color;
  refresh();
}

Color Button::titleColor(unsigned state) const {
  if (const auto color = forState(titleColors_, state)) return *color;
  return type_ == Type::System ? kTint : Color{1, 1, 1, 1};
}

void Button::setImage(std::shared_ptr<Image> image, unsigned state) {
  if (image) {
    images_[state] = std::move(image);
  } else {
    images_.erase(state);
  }
  refresh();
}

std::shared_ptr<Image> Button::image(unsigned state) const { return forState(images_, state).value_or(nullptr); }

std::shared_ptr<Label> Button::titleLabel() {
  if (!titleLabel_) {
    titleLabel_ = std::make_shared<Label>();
    titleLabel_->setFont(kTitleFontSize);
    titleLabel_->setTextAlignment(TextAlignment::Center);
    addSubview(titleLabel_);
  }
  return titleLabel_;
}

std::shared_ptr<ImageView> Button::imageView() {
  if (!imageView_) {
    imageView_ = std::make_shared<ImageView>();
    insertSubview(imageView_, 0);
  }
  return imageView_;
}

void Button::stateDidChange() { refresh(); }

void Button::refresh() {
  const unsigned s = state();
  const auto text = title(s);
  if (text || titleLabel_) {
    titleLabel()->setText(text);
    titleLabel_->setTextColor(titleColor(s));
    titleLabel_->setHidden(!text);
  }
  const auto picture = image(s);
  if (picture || imageView_) {
    imageView()->setImage(picture);
    imageView_->setHidden(!picture);
  }
  setNeedsLayout();
}

void Button::layoutSubviews() {
  const Size imageSize = imageView_ && imageView_->image() ? imageView_->image()->size() : Size{};
  const bool titled = titleLabel_ && titleLabel_->text();
  // An image alone fills the button, as a close glyph does; a title alone takes the whole width, centred.
  if (imageView_ && !titled) return imageView_->setFrame(bounds());
  if (!titleLabel_) return;
  if (!imageView_ || imageSize.width == 0) {
    titleLabel_->setTextAlignment(TextAlignment::Center);
    return titleLabel_->setFrame(bounds());
  }
  // Both: the pair is centred, the image first, and the title has the room that is left.
  const Size titleSize = titleLabel_->sizeThatFits({});
  const double pair = std::min(bounds().width(), imageSize.width + kImageTitleGap + titleSize.width);
  const double x = (bounds().width() - pair) / 2;
  imageView_->setFrame({x, (bounds().height() - imageSize.height) / 2, imageSize.width, imageSize.height});
  const double titleX = x + imageSize.width + kImageTitleGap;
  titleLabel_->setTextAlignment(TextAlignment::Left);
  titleLabel_->setFrame({titleX, 0, std::max(0.0, bounds().width() - titleX), bounds().height()});
}

Size Button::sizeThatFits(Size) const {
  const Size imageSize = imageView_ && imageView_->image() ? imageView_->image()->size() : Size{};
  const Size titleSize = titleLabel_ && titleLabel_->text() ? titleLabel_->sizeThatFits({}) : Size{};
  return {imageSize.width + titleSize.width + (imageSize.width > 0 && titleSize.width > 0 ? kImageTitleGap : 0),
          std::max(imageSize.height, titleSize.height)};
}

}  // namespace tavo::platform::ui
