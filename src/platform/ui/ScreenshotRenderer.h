#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tavo::platform::ui {

class UserInterface;

// Draws the screen with Cairo and Pango as it shows at this moment (animations where they are): the
// windows back to front over a black screen, each view's background with its corner radius and border,
// clipping, alpha, labels' text, images (an animation's current frame), gradients, and a web view as its
// page's background colour, title, URL and links. Main thread only.
class ScreenshotRenderer {
 public:
  struct Picture {
    int width = 0;
    int height = 0;
    std::vector<std::uint32_t> pixels;  // premultiplied ARGB, row by row
    // Straight (not premultiplied) components of the pixel at x, y, 0 to 255.
    struct RGBA {
      int r, g, b, a;
    };
    RGBA at(int x, int y) const;
  };

  // scale 0 takes the screen's own.
  static Picture render(UserInterface& userInterface, double scale = 0);
  // False when the file cannot be written.
  static bool writePNG(UserInterface& userInterface, const std::string& path, double scale = 0);
};

}  // namespace tavo::platform::ui
