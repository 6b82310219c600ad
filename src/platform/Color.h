#pragma once

namespace tavo::platform {

// A colour with red, green, blue and alpha components from 0.0 to 1.0. Plain value.
struct Color {
  double red = 0.0;
  double green = 0.0;
  double blue = 0.0;
  double alpha = 1.0;

  static Color colorWithRed(double red, double green, double blue, double alpha) {
    return Color{red, green, blue, alpha};
  }
};

}  // namespace tavo::platform
