#include "platform/ui/ImageCache.h"

#include "platform/ui/Image.h"

namespace tavo::platform::ui {

std::shared_ptr<Image> ImageCache::imageForKey(const std::string& key) {
  const auto found = index_.find(key);
  if (found == index_.end()) return nullptr;
  entries_.splice(entries_.begin(), entries_, found->second);
  return found->second->second;
}

void ImageCache::setImage(const std::string& key, std::shared_ptr<Image> image) {
  if (!image || image->byteCost() > kCapacityBytes) return;
  if (const auto found = index_.find(key); found != index_.end()) {
    bytes_ -= found->second->second->byteCost();
    entries_.erase(found->second);
    index_.erase(found);
  }
  bytes_ += image->byteCost();
  entries_.emplace_front(key, std::move(image));
  index_[key] = entries_.begin();
  while (!entries_.empty() && (entries_.size() > kCapacityCount || bytes_ > kCapacityBytes)) {
    bytes_ -= entries_.back().second->byteCost();
    index_.erase(entries_.back().first);
    entries_.pop_back();
  }
}

void ImageCache::removeAll() {
  entries_.clear();
  index_.clear();
  bytes_ = 0;
}

}  // namespace tavo::platform::ui
