#include "platform/ui/ImageLoader.h"

#include <fstream>
#include <iterator>

#include "platform/OperationQueue.h"
#include "platform/Platform.h"
#include "platform/ui/Image.h"
#include "platform/ui/UserInterface.h"

namespace tavo::platform::ui {

namespace {

constexpr double kTimeoutSeconds = 60.0;

bool startsWith(const std::string& s, const char* prefix) { return s.rfind(prefix, 0) == 0; }

}  // namespace

ImageLoader::ImageLoader() : workers_(std::make_shared<OperationQueue>(1)) {}

// The worker finishes what it has (its results are posted to the main loop, which outlives the loader).
ImageLoader::~ImageLoader() = default;

void ImageLoader::load(const std::string& url, Completion completion, double scale) {
  UserInterface::checkMainThread("ImageLoader::load");
  if (!completion) return;
  const auto loop = Platform::shared().mainLoop;
  if (auto cached = cache_.imageForKey(url)) {
    loop->post([completion = std::move(completion), cached] { completion(cached); });
    return;
  }
  auto& waiting = waiting_[url];
  waiting.push_back(std::move(completion));
  if (waiting.size() > 1) return;  // already on its way

  std::weak_ptr<bool> alive = alive_;
  auto decodeAndDeliver = [this, alive, loop, url, scale](std::string data) {
    auto image = Image::imageWithData(data, scale);
    if (image) image->setSource(url);
    loop->post([this, alive, url, image] {
      if (!alive.expired()) deliver(url, image);
    });
  };
  if (startsWith(url, "http://") || startsWith(url, "https://")) {
    HttpRequest request;
    request.method = "GET";
    request.url = url;
    request.timeoutSeconds = kTimeoutSeconds;
    std::weak_ptr<OperationQueue> workers = workers_;
    Platform::shared().httpClient->send(
        std::move(request),
        [workers, loop, decodeAndDeliver](std::optional<HttpResponse> response, std::optional<HttpError>) {
          std::string body = response ? std::move(response->body) : std::string();
          if (const auto queue = workers.lock()) {
            queue->addOperation([decodeAndDeliver, body = std::move(body)] { decodeAndDeliver(body); });
          } else {
            decodeAndDeliver(std::string());  // the loader is gone; its delivery is dropped
          }
        });
    return;
  }
  const std::string path = startsWith(url, "file://") ? url.substr(7) : url;
  if (path.empty() || path[0] != '/') {
    loop->post([this, alive, url] {
      if (!alive.expired()) deliver(url, nullptr);
    });
    return;
  }
  workers_->addOperation([path, decodeAndDeliver] {
    std::ifstream in(path, std::ios::binary);
    decodeAndDeliver(in ? std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>())
                        : std::string());
  });
}

void ImageLoader::waitUntilDecoded() { workers_->waitUntilAllOperationsAreFinished(); }

void ImageLoader::deliver(const std::string& url, const std::shared_ptr<Image>& image) {
  if (image) cache_.setImage(url, image);
  const auto found = waiting_.find(url);
  if (found == waiting_.end()) return;
  const auto completions = std::move(found->second);
  waiting_.erase(found);
  for (const auto& completion : completions) completion(image);
}

}  // namespace tavo::platform::ui
