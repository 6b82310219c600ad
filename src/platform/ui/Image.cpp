#include "platform/ui/Image.h"

#include <algorithm>
#include <cmath>
#include <fstream>
#include <iterator>

#include "platform/ui/ImageDecoder.h"

namespace tavo::platform::ui {

Image::Image(int pixelWidth, int pixelHeight, std::vector<Frame> frames, double scale, int loopCount)
    : width_(std::max(0, pixelWidth)),
      height_(std::max(0, pixelHeight)),
      frames_(std::move(frames)),
      scale_(std::isfinite(scale) && scale > 0 ? scale : 1.0),
      loopCount_(std::max(0, loopCount)) {
  const std::size_t count = static_cast<std::size_t>(width_) * static_cast<std::size_t>(height_);
  for (auto& frame : frames_) frame.pixels.resize(count);
  if (frames_.empty()) frames_.push_back(Frame{std::vector<std::uint32_t>(count), 0});
}

std::shared_ptr<Image> Image::imageWithData(std::string_view data, double scale) {
  auto decoded = ImageDecoder::decode(data);
  if (!decoded) return nullptr;
  return std::make_shared<Image>(decoded->width, decoded->height, std::move(decoded->frames), scale,
                                 decoded->loopCount);
}

std::shared_ptr<Image> Image::imageWithContentsOfFile(const std::string& path, double scale) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return nullptr;
  const std::string data((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  auto image = imageWithData(data, scale);
  if (image) image->setSource(path);
  return image;
}

std::shared_ptr<Image> Image::filled(Size size, double scale, std::uint32_t argb) {
  const int w = static_cast<int>(std::lround(std::max(0.0, size.width) * scale));
  const int h = static_cast<int>(std::lround(std::max(0.0, size.height) * scale));
  std::vector<Frame> frames{Frame{std::vector<std::uint32_t>(static_cast<std::size_t>(w) * h, argb), 0}};
  return std::make_shared<Image>(w, h, std::move(frames), scale);
}

double Image::duration() const {
  if (!isAnimated()) return 0;
  double total = 0;
  for (const auto& frame : frames_) total += frame.delay;
  return total;
}

std::size_t Image::frameIndexAt(double elapsed) const {
  const double total = duration();
  if (!isAnimated() || total <= 0 || !(elapsed > 0)) return 0;
  if (loopCount_ > 0 && elapsed >= total * loopCount_) return frames_.size() - 1;
  double t = std::fmod(elapsed, total);
  for (std::size_t i = 0; i < frames_.size(); ++i) {
    if (t < frames_[i].delay) return i;
    t -= frames_[i].delay;
  }
  return frames_.size() - 1;
}

std::size_t Image::byteCost() const {
  return frames_.size() * static_cast<std::size_t>(width_) * static_cast<std::size_t>(height_) * 4;
}

std::shared_ptr<Image> Image::resized(Size size, double scale) const {
  const int w = static_cast<int>(std::lround(std::max(0.0, size.width) * scale));
  const int h = static_cast<int>(std::lround(std::max(0.0, size.height) * scale));
  std::vector<std::uint32_t> pixels(static_cast<std::size_t>(w) * static_cast<std::size_t>(h));
  const auto& source = frames_.front().pixels;
  if (width_ > 0 && height_ > 0) {
    // Nearest sample from the middle of each target pixel.
    for (int y = 0; y < h; ++y) {
      const int sy = std::min(height_ - 1, static_cast<int>((y + 0.5) * height_ / h));
      for (int x = 0; x < w; ++x) {
        const int sx = std::min(width_ - 1, static_cast<int>((x + 0.5) * width_ / w));
        pixels[static_cast<std::size_t>(y) * w + x] = source[static_cast<std::size_t>(sy) * width_ + sx];
      }
    }
  }
  auto image = std::make_shared<Image>(w, h, std::vector<Frame>{Frame{std::move(pixels), 0}}, scale);
  image->setSource(source_);
  return image;
}

}  // namespace tavo::platform::ui
