#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace tavo::platform::ui {

class Image;

// What a tab shows in the tab bar: a title, an image (and one for when it is selected), a tag and a badge.
// Main thread only.
class TabBarItem {
 public:
  explicit TabBarItem(std::optional<std::string> title = std::nullopt, std::shared_ptr<Image> image = nullptr,
                      int tag = 0)
      : title_(std::move(title)), image_(std::move(image)), tag_(tag) {}

  const std::optional<std::string>& title() const { return title_; }
  void setTitle(std::optional<std::string> title);
  const std::shared_ptr<Image>& image() const { return image_; }
  void setImage(std::shared_ptr<Image> image);
  const std::shared_ptr<Image>& selectedImage() const { return selectedImage_; }
  void setSelectedImage(std::shared_ptr<Image> image);
  int tag() const { return tag_; }
  void setTag(int tag) { tag_ = tag; }
  const std::optional<std::string>& badgeValue() const { return badge_; }
  void setBadgeValue(std::optional<std::string> badge);

 private:
  friend class TabBar;
  void changed() const {
    if (onChange_) onChange_();
  }

  std::optional<std::string> title_;
  std::shared_ptr<Image> image_;
  std::shared_ptr<Image> selectedImage_;
  int tag_ = 0;
  std::optional<std::string> badge_;
  std::function<void()> onChange_;  // the tab bar showing the item redraws it
};

}  // namespace tavo::platform::ui
