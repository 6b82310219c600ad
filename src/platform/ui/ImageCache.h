#pragma once

#include <cstddef>
#include <list>
#include <memory>
#include <string>
#include <unordered_map>

namespace tavo::platform::ui {

class Image;

// A small in-memory cache of decoded images by URL: at most kCapacityCount images and kCapacityBytes of
// pixels, the least recently used leaving first. Main thread only.
class ImageCache {
 public:
  static constexpr std::size_t kCapacityCount = 100;
  static constexpr std::size_t kCapacityBytes = 32 * 1024 * 1024;

  std::shared_ptr<Image> imageForKey(const std::string& key);
  void setImage(const std::string& key, std::shared_ptr<Image> image);
  void removeAll();
  std::size_t count() const { return entries_.size(); }

 private:
  using Entry = std::pair<std::string, std::shared_ptr<Image>>;
  std::list<Entry> entries_;  // most recent first
  std::unordered_map<std::string, std::list<Entry>::iterator> index_;
  std::size_t bytes_ = 0;
};

}  // namespace tavo::platform::ui
