#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Color.h"

namespace tavo::platform::ui {

// What a web view without an engine knows of a page: its title, its background colour and its links, read
// in one pass over the HTML (comments, scripts and styles skipped, entities decoded). The scan reads at
// most kMaxScannedBytes and keeps at most kMaxLinks links, so any page costs time in proportion to its
// size, bounded. Plain value.
class HTMLPage {
 public:
  struct Link {
    std::string href;  // resolved against the page's URL (or its <base>)
    std::string text;
    std::string target;  // "_blank" opens outside the page's frame
  };

  static constexpr std::size_t kMaxScannedBytes = 2 * 1024 * 1024;
  static constexpr std::size_t kMaxLinks = 500;
  static constexpr std::size_t kMaxTextLength = 1024;

  static HTMLPage parse(std::string_view html, const std::string& url);

  const std::string& title() const { return title_; }
  // The body's bgcolor or background(-color), from its attributes or a style sheet's body rule.
  const std::optional<Color>& backgroundColor() const { return backgroundColor_; }
  const std::vector<Link>& links() const { return links_; }

  // A reference resolved against a base URL, as a browser does it: absolute URLs as they are, then
  // scheme-relative, host-relative, query and fragment references, and relative paths with dot segments.
  static std::string resolve(const std::string& base, const std::string& reference);
  // A CSS colour: #rgb, #rrggbb, rgb(), rgba() or a common name ("white", "red", "transparent", ...).
  static std::optional<Color> parseCSSColor(std::string_view text);

 private:
  std::string title_;
  std::optional<Color> backgroundColor_;
  std::vector<Link> links_;
};

}  // namespace tavo::platform::ui
