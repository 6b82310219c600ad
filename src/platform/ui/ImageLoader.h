#pragma once

#include <functional>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "platform/ui/ImageCache.h"

namespace tavo::platform {
class OperationQueue;
}

namespace tavo::platform::ui {

class Image;

// Loads images off the main thread: http and https through the platform's HttpClient, file URLs and paths
// from disk; decoding happens on the loader's own worker, never on the main thread nor on the HTTP client's
// completion queue. The image (nullptr when it could not be read or decoded) reaches the completion on the
// main loop, on a later turn, also when it comes from the cache. Loads of one URL under way are shared.
// Called on the main thread.
class ImageLoader {
 public:
  using Completion = std::function<void(std::shared_ptr<Image> image)>;

  ImageLoader();
  ~ImageLoader();
  ImageLoader(const ImageLoader&) = delete;
  ImageLoader& operator=(const ImageLoader&) = delete;

  void load(const std::string& url, Completion completion, double scale = 1.0);
  ImageCache& cache() { return cache_; }
  // Blocks until every image read or downloaded so far is decoded and on its way to the main loop (a host
  // closing down, a test that wants every answer in).
  void waitUntilDecoded();

 private:
  void deliver(const std::string& url, const std::shared_ptr<Image>& image);

  std::unordered_map<std::string, std::vector<Completion>> waiting_;
  ImageCache cache_;
  std::shared_ptr<OperationQueue> workers_;
  std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

}  // namespace tavo::platform::ui
