#include "emulator/PlaceholderImage.h"

#include <cairo.h>

#include <cstdlib>

namespace tavo::emulator {

namespace {

// "#RRGGBB" as three components of 0 to 1; grey for anything else.
void parseColor(const std::string& text, double rgb[3]) {
  rgb[0] = rgb[1] = rgb[2] = 0.5;
  if (text.size() != 7 || text[0] != '#') return;
  char* end = nullptr;
  const long value = std::strtol(text.c_str() + 1, &end, 16);
  if (*end != '\0') return;
  rgb[0] = ((value >> 16) & 0xFF) / 255.0;
  rgb[1] = ((value >> 8) & 0xFF) / 255.0;
  rgb[2] = (value & 0xFF) / 255.0;
}

cairo_status_t append(void* closure, const unsigned char* data, unsigned int length) {
  static_cast<std::string*>(closure)->append(reinterpret_cast<const char*>(data), length);
  return CAIRO_STATUS_SUCCESS;
}

}  // namespace

std::string PlaceholderImage::png(const nlohmann::ordered_json& spec) {
  const int width = spec.value("width", 1);
  const int height = spec.value("height", 1);
  double rgb[3];
  parseColor(spec.value("color", ""), rgb);
  cairo_surface_t* surface = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, width, height);
  cairo_t* cr = cairo_create(surface);
  cairo_set_source_rgb(cr, rgb[0], rgb[1], rgb[2]);
  cairo_paint(cr);
  if (const std::string text = spec.value("text", ""); !text.empty()) {
    // White on a dark colour, black on a light one.
    const double light = 0.299 * rgb[0] + 0.587 * rgb[1] + 0.114 * rgb[2];
    cairo_set_source_rgb(cr, light < 0.6 ? 1 : 0, light < 0.6 ? 1 : 0, light < 0.6 ? 1 : 0);
    cairo_select_font_face(cr, "sans-serif", CAIRO_FONT_SLANT_NORMAL, CAIRO_FONT_WEIGHT_BOLD);
    cairo_set_font_size(cr, height * 0.4);
    cairo_text_extents_t extents;
    cairo_text_extents(cr, text.c_str(), &extents);
    cairo_move_to(cr, (width - extents.width) / 2 - extents.x_bearing,
                  (height - extents.height) / 2 - extents.y_bearing);
    cairo_show_text(cr, text.c_str());
  }
  std::string out;
  if (cairo_surface_write_to_png_stream(surface, append, &out) != CAIRO_STATUS_SUCCESS) out.clear();
  cairo_destroy(cr);
  cairo_surface_destroy(surface);
  return out;
}

}  // namespace tavo::emulator
