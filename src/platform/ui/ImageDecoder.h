#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/ui/Image.h"

namespace tavo::platform::ui {

// Turns PNG (libpng), JPEG (libjpeg) and GIF (giflib) data into frames of premultiplied ARGB pixels. A GIF's
// frames are composed as a browser shows them (disposal, transparency), with their delays; a delay of 0.01 s
// or less plays as 0.1 s, as browsers and the platform's animated-image views do. Damaged or oversized data
// gives nullopt, never a crash. Thread-safe (no shared state).
class ImageDecoder {
 public:
  struct Decoded {
    int width = 0;
    int height = 0;
    std::vector<Image::Frame> frames;
    int loopCount = 0;   // 0: for ever
    std::string format;  // "png", "jpeg" or "gif"
  };

  // Limits on what one picture may take: pixels in one frame, and pixels over all frames.
  static constexpr std::size_t kMaxFramePixels = 4096u * 4096u;
  static constexpr std::size_t kMaxTotalPixels = 64u * 1024u * 1024u;

  static std::optional<Decoded> decode(std::string_view data);

 private:
  static std::optional<Decoded> decodePNG(std::string_view data);
  static std::optional<Decoded> decodeJPEG(std::string_view data);
  static std::optional<Decoded> decodeGIF(std::string_view data);
};

}  // namespace tavo::platform::ui
