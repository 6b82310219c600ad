#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/ui/Geometry.h"

namespace tavo::platform::ui {

// A decoded picture: one frame, or the frames of an animation with how long each stays on screen. Pixels
// are 32-bit premultiplied ARGB, row by row (the layout drawing libraries take as it is). Immutable, so it
// may be shared between threads once made.
class Image {
 public:
  struct Frame {
    std::vector<std::uint32_t> pixels;  // pixelWidth * pixelHeight
    double delay = 0;                   // seconds; 0 for a still image
  };

  // frames must hold pixelWidth * pixelHeight pixels each; loopCount 0 plays for ever.
  Image(int pixelWidth, int pixelHeight, std::vector<Frame> frames, double scale = 1.0, int loopCount = 0);

  // PNG, JPEG or GIF data (told apart by their signatures); nullptr when it is none of them, is damaged or
  // is too large to hold.
  static std::shared_ptr<Image> imageWithData(std::string_view data, double scale = 1.0);
  static std::shared_ptr<Image> imageWithContentsOfFile(const std::string& path, double scale = 1.0);
  // One colour over the whole size (a plain glyph, a placeholder).
  static std::shared_ptr<Image> filled(Size size, double scale, std::uint32_t argb);

  int pixelWidth() const { return width_; }
  int pixelHeight() const { return height_; }
  double scale() const { return scale_; }
  // In points.
  Size size() const { return {width_ / scale_, height_ / scale_}; }
  const std::vector<Frame>& frames() const { return frames_; }
  bool isAnimated() const { return frames_.size() > 1; }
  double duration() const;
  int loopCount() const { return loopCount_; }
  // The frame on screen elapsed seconds after the animation started; the last one once its loops are done.
  std::size_t frameIndexAt(double elapsed) const;
  // Where it was read from (a URL or a path); shown in pictures of the screen.
  const std::string& source() const { return source_; }
  void setSource(std::string source) { source_ = std::move(source); }
  // Memory the pixels take, for caches.
  std::size_t byteCost() const;

  // The first frame drawn into a new image of size points at scale (stretched to fill it).
  std::shared_ptr<Image> resized(Size size, double scale) const;

 private:
  int width_;
  int height_;
  std::vector<Frame> frames_;
  double scale_;
  int loopCount_;
  std::string source_;
};

}  // namespace tavo::platform::ui
