#include "platform/ui/ScreenshotRenderer.h"

#include <cairo.h>
#include <pango/pangocairo.h>

#include <algorithm>
#include <cmath>
#include <memory>

#include "platform/ui/GradientView.h"
#include "platform/ui/Image.h"
#include "platform/ui/ImageView.h"
#include "platform/ui/Label.h"
#include "platform/ui/UserInterface.h"
#include "platform/ui/WebView.h"
#include "platform/ui/Window.h"

namespace tavo::platform::ui {

namespace {

constexpr const char* kFontFamily = "DejaVu Sans";

struct SurfaceDeleter {
  void operator()(cairo_surface_t* s) const { cairo_surface_destroy(s); }
};
struct ContextDeleter {
  void operator()(cairo_t* c) const { cairo_destroy(c); }
};
using Surface = std::unique_ptr<cairo_surface_t, SurfaceDeleter>;
using Context = std::unique_ptr<cairo_t, ContextDeleter>;

void setColor(cairo_t* cr, const Color& c) { cairo_set_source_rgba(cr, c.red, c.green, c.blue, c.alpha); }

void roundedRect(cairo_t* cr, const Rect& r, double radius) {
  radius = std::min({radius, r.width() / 2, r.height() / 2});
  if (radius <= 0) return cairo_rectangle(cr, r.minX(), r.minY(), r.width(), r.height());
  cairo_new_sub_path(cr);
  cairo_arc(cr, r.maxX() - radius, r.minY() + radius, radius, -M_PI / 2, 0);
  cairo_arc(cr, r.maxX() - radius, r.maxY() - radius, radius, 0, M_PI / 2);
  cairo_arc(cr, r.minX() + radius, r.maxY() - radius, radius, M_PI / 2, M_PI);
  cairo_arc(cr, r.minX() + radius, r.minY() + radius, radius, M_PI, 3 * M_PI / 2);
  cairo_close_path(cr);
}

// Text in a box: wrapped at its width, at most lines lines (0: no limit), cut with an ellipsis, centred
// vertically as a label centres it.
void drawText(cairo_t* cr, const std::string& text, const Rect& box, double size, bool bold, const Color& color,
              TextAlignment alignment, int lines, bool underline = false) {
  if (text.empty() || box.width() <= 0) return;
  gchar* valid = g_utf8_make_valid(text.c_str(), static_cast<gssize>(text.size()));
  PangoLayout* layout = pango_cairo_create_layout(cr);
  PangoFontDescription* font = pango_font_description_from_string(kFontFamily);
  pango_font_description_set_absolute_size(font, size * PANGO_SCALE);
  pango_font_description_set_weight(font, bold ? PANGO_WEIGHT_BOLD : PANGO_WEIGHT_NORMAL);
  pango_layout_set_font_description(layout, font);
  pango_layout_set_text(layout, valid, -1);
  pango_layout_set_width(layout, static_cast<int>(box.width() * PANGO_SCALE));
  pango_layout_set_wrap(layout, PANGO_WRAP_WORD_CHAR);
  // As many whole lines as the box holds (and the label allows); the last one shown ends in an ellipsis.
  int natural = 0, naturalLines = std::max(1, pango_layout_get_line_count(layout));
  pango_layout_get_pixel_size(layout, nullptr, &natural);
  const double lineHeight = std::max(1.0, static_cast<double>(natural) / naturalLines);
  int shown = std::max(1, static_cast<int>(box.height() / lineHeight + 0.01));
  if (lines > 0) shown = std::min(shown, lines);
  if (naturalLines > shown) {
    pango_layout_set_ellipsize(layout, PANGO_ELLIPSIZE_END);
    pango_layout_set_height(layout, -shown);
  }
  pango_layout_set_alignment(layout, alignment == TextAlignment::Center  ? PANGO_ALIGN_CENTER
                                     : alignment == TextAlignment::Right ? PANGO_ALIGN_RIGHT
                                                                         : PANGO_ALIGN_LEFT);
  if (underline) {
    PangoAttrList* attributes = pango_attr_list_new();
    pango_attr_list_insert(attributes, pango_attr_underline_new(PANGO_UNDERLINE_SINGLE));
    pango_layout_set_attributes(layout, attributes);
    pango_attr_list_unref(attributes);
  }
  int width = 0, height = 0;
  pango_layout_get_pixel_size(layout, &width, &height);
  cairo_save(cr);
  setColor(cr, color);
  cairo_move_to(cr, box.minX(), box.minY() + (box.height() - height) / 2);
  pango_cairo_show_layout(cr, layout);
  cairo_restore(cr);
  pango_font_description_free(font);
  g_object_unref(layout);
  g_free(valid);
}

void drawImage(cairo_t* cr, const Image& image, std::size_t frame, const Rect& box, ContentMode mode) {
  if (image.pixelWidth() == 0 || image.pixelHeight() == 0 || box.isEmpty()) return;
  const auto& pixels = image.frames()[std::min(frame, image.frames().size() - 1)].pixels;
  Surface surface(cairo_image_surface_create_for_data(
      reinterpret_cast<unsigned char*>(const_cast<std::uint32_t*>(pixels.data())), CAIRO_FORMAT_ARGB32,
      image.pixelWidth(), image.pixelHeight(), image.pixelWidth() * 4));
  const Size size = image.size();
  double sx = 1, sy = 1;
  switch (mode) {
    case ContentMode::ScaleToFill:
    case ContentMode::Redraw:
      sx = box.width() / size.width;
      sy = box.height() / size.height;
      break;
    case ContentMode::ScaleAspectFit: sx = sy = std::min(box.width() / size.width, box.height() / size.height); break;
    case ContentMode::ScaleAspectFill: sx = sy = std::max(box.width() / size.width, box.height() / size.height); break;
    default: break;
  }
  const double w = size.width * sx, h = size.height * sy;
  double x = box.minX() + (box.width() - w) / 2, y = box.minY() + (box.height() - h) / 2;
  if (mode == ContentMode::Left || mode == ContentMode::TopLeft || mode == ContentMode::BottomLeft) x = box.minX();
  if (mode == ContentMode::Right || mode == ContentMode::TopRight || mode == ContentMode::BottomRight)
    x = box.maxX() - w;
  if (mode == ContentMode::Top || mode == ContentMode::TopLeft || mode == ContentMode::TopRight) y = box.minY();
  if (mode == ContentMode::Bottom || mode == ContentMode::BottomLeft || mode == ContentMode::BottomRight)
    y = box.maxY() - h;
  cairo_save(cr);
  cairo_translate(cr, x, y);
  cairo_scale(cr, w / image.pixelWidth(), h / image.pixelHeight());
  cairo_set_source_surface(cr, surface.get(), 0, 0);
  cairo_pattern_set_filter(cairo_get_source(cr), CAIRO_FILTER_GOOD);
  cairo_paint(cr);
  cairo_restore(cr);
}

void drawGradient(cairo_t* cr, const GradientView& view, const Rect& b) {
  if (view.colors().empty()) return;
  cairo_pattern_t* pattern = cairo_pattern_create_linear(
      b.minX() + view.startPoint().x * b.width(), b.minY() + view.startPoint().y * b.height(),
      b.minX() + view.endPoint().x * b.width(), b.minY() + view.endPoint().y * b.height());
  const auto locations = view.locations();
  for (std::size_t i = 0; i < view.colors().size(); ++i) {
    const Color& c = view.colors()[i];
    cairo_pattern_add_color_stop_rgba(pattern, locations[i], c.red, c.green, c.blue, c.alpha);
  }
  cairo_save(cr);
  cairo_set_source(cr, pattern);
  cairo_rectangle(cr, b.minX(), b.minY(), b.width(), b.height());
  cairo_fill(cr);
  cairo_restore(cr);
  cairo_pattern_destroy(pattern);
}

void drawPage(cairo_t* cr, const WebView& web, const Rect& b) {
  const auto& page = web.page();
  if (page && page->backgroundColor()) {
    cairo_save(cr);
    setColor(cr, *page->backgroundColor());
    cairo_rectangle(cr, b.minX(), b.minY(), b.width(), b.height());
    cairo_fill(cr);
    cairo_restore(cr);
  }
  const double width = std::max(0.0, b.width() - 32);
  if (web.title())
    drawText(cr, *web.title(), {b.minX() + 16, b.minY() + 16, width, 28}, 20, true, {0, 0, 0, 1}, TextAlignment::Left,
             1);
  if (web.url())
    drawText(cr, *web.url(), {b.minX() + 16, b.minY() + 48, width, 16}, 12, false, {0.4, 0.4, 0.4, 1},
             TextAlignment::Left, 1);
  if (!page) return;
  const auto frames = web.linkFrames();
  for (std::size_t i = 0; i < frames.size(); ++i) {
    const auto& link = page->links()[i];
    const Rect row = frames[i].offsetBy(b.minX(), b.minY());
    drawText(cr, link.text.empty() ? link.href : link.text, row, 17, false, {0, 0.4, 0.8, 1}, TextAlignment::Left, 1,
             true);
  }
}

void drawView(cairo_t* cr, const View& view) {
  if (view.isHidden()) return;
  const auto shown = view.presentation();
  if (shown.alpha <= 0.001) return;
  cairo_save(cr);
  // Into the view's own coordinates: about its centre, through its transform.
  cairo_translate(cr, shown.center.x, shown.center.y);
  const AffineTransform& t = shown.transform;
  cairo_matrix_t matrix;
  cairo_matrix_init(&matrix, t.a, t.b, t.c, t.d, t.tx, t.ty);
  cairo_transform(cr, &matrix);
  const Rect b = shown.bounds;
  cairo_translate(cr, -(b.minX() + b.width() / 2), -(b.minY() + b.height() / 2));
  const bool group = shown.alpha < 1;
  if (group) cairo_push_group(cr);

  if (view.clipsToBounds()) {
    roundedRect(cr, b, view.cornerRadius());
    cairo_clip(cr);
  }
  if (shown.backgroundColor && shown.backgroundColor->alpha > 0) {
    roundedRect(cr, b, view.cornerRadius());
    setColor(cr, *shown.backgroundColor);
    cairo_fill(cr);
  }
  if (const auto* label = dynamic_cast<const Label*>(&view); label && label->text()) {
    drawText(cr, *label->text(), b, label->fontSize(), label->isBold(), label->textColor(), label->textAlignment(),
             label->numberOfLines());
  } else if (const auto* imageView = dynamic_cast<const ImageView*>(&view); imageView && imageView->image()) {
    drawImage(cr, *imageView->image(), imageView->currentFrameIndex(), b, view.contentMode());
  } else if (const auto* gradient = dynamic_cast<const GradientView*>(&view)) {
    drawGradient(cr, *gradient, b);
  } else if (const auto* web = dynamic_cast<const WebView*>(&view)) {
    drawPage(cr, *web, b);
  }
  if (view.borderWidth() > 0) {
    const double inset = view.borderWidth() / 2;
    roundedRect(cr, b.insetBy(inset, inset), std::max(0.0, view.cornerRadius() - inset));
    cairo_set_line_width(cr, view.borderWidth());
    setColor(cr, view.borderColor());
    cairo_stroke(cr);
  }
  for (const auto& child : view.subviews()) drawView(cr, *child);

  if (group) {
    cairo_pop_group_to_source(cr);
    cairo_paint_with_alpha(cr, shown.alpha);
  }
  cairo_restore(cr);
}

}  // namespace

ScreenshotRenderer::Picture::RGBA ScreenshotRenderer::Picture::at(int x, int y) const {
  if (x < 0 || y < 0 || x >= width || y >= height) return {0, 0, 0, 0};
  const std::uint32_t p = pixels[static_cast<std::size_t>(y) * width + x];
  const int a = static_cast<int>(p >> 24);
  const auto straight = [a](std::uint32_t c) { return a == 0 ? 0 : static_cast<int>((c * 255 + a / 2) / a); };
  return {straight((p >> 16) & 0xFF), straight((p >> 8) & 0xFF), straight(p & 0xFF), a};
}

ScreenshotRenderer::Picture ScreenshotRenderer::render(UserInterface& ui, double scale) {
  UserInterface::checkMainThread("ScreenshotRenderer::render");
  ui.layoutIfNeeded();
  if (!(scale > 0) || !std::isfinite(scale)) scale = ui.screen().scale();
  const Rect screen = ui.screen().bounds();
  Picture picture;
  picture.width = std::max(1, static_cast<int>(std::lround(screen.width() * scale)));
  picture.height = std::max(1, static_cast<int>(std::lround(screen.height() * scale)));
  picture.pixels.assign(static_cast<std::size_t>(picture.width) * picture.height, 0xFF000000u);
  Surface surface(cairo_image_surface_create_for_data(reinterpret_cast<unsigned char*>(picture.pixels.data()),
                                                      CAIRO_FORMAT_ARGB32, picture.width, picture.height,
                                                      picture.width * 4));
  {
    Context cr(cairo_create(surface.get()));
    cairo_scale(cr.get(), scale, scale);
    for (const auto& window : ui.windows()) drawView(cr.get(), *window);
  }
  cairo_surface_flush(surface.get());
  return picture;
}

bool ScreenshotRenderer::writePNG(UserInterface& ui, const std::string& path, double scale) {
  Picture picture = render(ui, scale);
  Surface surface(cairo_image_surface_create_for_data(reinterpret_cast<unsigned char*>(picture.pixels.data()),
                                                      CAIRO_FORMAT_ARGB32, picture.width, picture.height,
                                                      picture.width * 4));
  return cairo_surface_write_to_png(surface.get(), path.c_str()) == CAIRO_STATUS_SUCCESS;
}

}  // namespace tavo::platform::ui
