#include "platform/ui/TabBarItem.h"

namespace tavo::platform::ui {

void TabBarItem::setTitle(std::optional<std::string> title) {
  title_ = std::move(title);
  changed();
}

void TabBarItem::setImage(std::shared_ptr<Image> image) {
  image_ = std::move(image);
  changed();
}

void TabBarItem::setSelectedImage(std::shared_ptr<Image> image) {
  selectedImage_ = std::move(image);
  changed();
}

void TabBarItem::setBadgeValue(std::optional<std::string> badge) {
  badge_ = std::move(badge);
  changed();
}

}  // namespace tavo::platform::ui
