#include "platform/ui/HTMLPage.h"

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <cstdlib>

#include "platform/ui/ColorText.h"

namespace tavo::platform::ui {

namespace {

char lower(char c) { return static_cast<char>(std::tolower(static_cast<unsigned char>(c))); }
bool space(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f'; }

std::string lowercase(std::string_view s) {
  std::string out(s);
  for (char& c : out) c = lower(c);
  return out;
}

std::string_view trim(std::string_view s) {
  while (!s.empty() && space(s.front())) s.remove_prefix(1);
  while (!s.empty() && space(s.back())) s.remove_suffix(1);
  return s;
}

// needle is lower case.
std::size_t findCaseless(std::string_view text, std::string_view needle, std::size_t from) {
  if (needle.empty() || text.size() < needle.size()) return std::string_view::npos;
  for (std::size_t i = from; i + needle.size() <= text.size(); ++i) {
    std::size_t j = 0;
    while (j < needle.size() && lower(text[i + j]) == needle[j]) ++j;
    if (j == needle.size()) return i;
  }
  return std::string_view::npos;
}

void appendUTF8(std::string& out, std::uint32_t code) {
  if (code == 0 || code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF)) code = 0xFFFD;
  if (code < 0x80) {
    out += static_cast<char>(code);
  } else if (code < 0x800) {
    out += static_cast<char>(0xC0 | (code >> 6));
    out += static_cast<char>(0x80 | (code & 0x3F));
  } else if (code < 0x10000) {
    out += static_cast<char>(0xE0 | (code >> 12));
    out += static_cast<char>(0x80 | ((code >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (code & 0x3F));
  } else {
    out += static_cast<char>(0xF0 | (code >> 18));
    out += static_cast<char>(0x80 | ((code >> 12) & 0x3F));
    out += static_cast<char>(0x80 | ((code >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (code & 0x3F));
  }
}

// Entities decoded and runs of white space made one blank, up to limit bytes.
void appendText(std::string& out, std::string_view text, std::size_t limit) {
  for (std::size_t i = 0; i < text.size() && out.size() < limit; ++i) {
    const char c = text[i];
    if (space(c)) {
      if (!out.empty() && out.back() != ' ') out += ' ';
      continue;
    }
    if (c != '&') {
      out += c;
      continue;
    }
    // Entities are short: look no further than their longest name, so a run of '&' stays linear.
    const std::size_t nearby = text.substr(i, 12).find(';');
    const std::size_t semi = nearby == std::string_view::npos ? nearby : i + nearby;
    if (semi == std::string_view::npos) {
      out += c;
      continue;
    }
    const std::string name(text.substr(i + 1, semi - i - 1));
    std::uint32_t code = 0;
    if (name == "amp")
      code = '&';
    else if (name == "lt")
      code = '<';
    else if (name == "gt")
      code = '>';
    else if (name == "quot")
      code = '"';
    else if (name == "apos")
      code = '\'';
    else if (name == "nbsp")
      code = ' ';
    else if (name.size() > 1 && name[0] == '#') {
      const bool hex = name[1] == 'x' || name[1] == 'X';
      char* end = nullptr;
      const unsigned long value = std::strtoul(name.c_str() + (hex ? 2 : 1), &end, hex ? 16 : 10);
      if (end && *end == '\0' && end != name.c_str() + (hex ? 2 : 1))
        code = static_cast<std::uint32_t>(std::min(value, 0x110000ul));
    }
    if (code == 0) {
      out += c;
      continue;
    }
    appendUTF8(out, code);
    i = semi;
  }
}

std::string decoded(std::string_view text) {
  std::string out;
  appendText(out, text, HTMLPage::kMaxScannedBytes);
  return std::string(trim(out));
}

struct Attribute {
  std::string name;
  std::string value;
};

std::vector<Attribute> attributes(std::string_view tag) {
  std::vector<Attribute> out;
  std::size_t i = 0;
  while (i < tag.size() && !space(tag[i]) && tag[i] != '/') ++i;  // the tag's name
  while (i < tag.size()) {
    while (i < tag.size() && (space(tag[i]) || tag[i] == '/')) ++i;
    const std::size_t nameStart = i;
    while (i < tag.size() && !space(tag[i]) && tag[i] != '=' && tag[i] != '/') ++i;
    Attribute attribute{lowercase(tag.substr(nameStart, i - nameStart)), ""};
    while (i < tag.size() && space(tag[i])) ++i;
    if (i < tag.size() && tag[i] == '=') {
      ++i;
      while (i < tag.size() && space(tag[i])) ++i;
      if (i < tag.size() && (tag[i] == '"' || tag[i] == '\'')) {
        const char quote = tag[i++];
        const std::size_t close = std::min(tag.find(quote, i), tag.size());
        attribute.value = decoded(tag.substr(i, close - i));
        i = close + 1;
      } else {
        const std::size_t start = i;
        while (i < tag.size() && !space(tag[i])) ++i;
        attribute.value = decoded(tag.substr(start, i - start));
      }
    }
    if (!attribute.name.empty()) out.push_back(std::move(attribute));
  }
  return out;
}

const std::string* attribute(const std::vector<Attribute>& list, std::string_view name) {
  for (const auto& a : list)
    if (a.name == name) return &a.value;
  return nullptr;
}

// The background of CSS declarations ("color: red; background-color: #fff").
std::optional<Color> backgroundIn(std::string_view declarations) {
  std::size_t at = 0;
  while ((at = findCaseless(declarations, "background", at)) != std::string_view::npos) {
    const std::size_t colon = declarations.find(':', at);
    if (colon == std::string_view::npos) return std::nullopt;
    const std::string property = lowercase(trim(declarations.substr(at, colon - at)));
    const std::size_t end = std::min(declarations.find(';', colon), declarations.find('}', colon));
    const std::string_view value =
        trim(declarations.substr(colon + 1, end == std::string_view::npos ? std::string_view::npos : end - colon - 1));
    // Each declaration is read once: the next search starts where this one ends.
    at = end == std::string_view::npos ? declarations.size() : end;
    if (property != "background" && property != "background-color") continue;
    // The shorthand may carry an image and more: the first part that is a colour counts.
    std::size_t i = 0;
    while (i < value.size()) {
      while (i < value.size() && space(value[i])) ++i;
      std::size_t j = i;
      int depth = 0;
      while (j < value.size() && (depth > 0 || !space(value[j]))) {
        if (value[j] == '(') ++depth;
        if (value[j] == ')') --depth;
        ++j;
      }
      if (const auto color = HTMLPage::parseCSSColor(value.substr(i, j - i))) return color;
      i = j;
    }
  }
  return std::nullopt;
}

// A style sheet's rule for the body.
std::optional<Color> bodyBackgroundInStyleSheet(std::string_view css) {
  std::size_t at = 0;
  while ((at = findCaseless(css, "body", at)) != std::string_view::npos) {
    const bool startsWord = at == 0 || !std::isalnum(static_cast<unsigned char>(css[at - 1]));
    std::size_t next = at + 4;
    while (next < css.size() && space(css[next])) ++next;
    at += 4;
    if (!startsWord || next >= css.size() || (css[next] != '{' && css[next] != ',')) continue;
    const std::size_t open = css.find('{', next);
    const std::size_t close = css.find('}', open);
    if (open == std::string_view::npos || close == std::string_view::npos) return std::nullopt;
    if (const auto color = backgroundIn(css.substr(open + 1, close - open - 1))) return color;
    at = close + 1;
  }
  return std::nullopt;
}

struct URLParts {
  std::string scheme;     // without ':'
  std::string authority;  // without "//"; empty when absent
  bool hasAuthority = false;
  std::string path;
  std::string query;  // with '?'
};

URLParts split(const std::string& url) {
  URLParts parts;
  std::size_t i = url.find(':');
  parts.scheme = url.substr(0, i == std::string::npos ? 0 : i);
  i = i == std::string::npos ? 0 : i + 1;
  if (url.compare(i, 2, "//") == 0) {
    parts.hasAuthority = true;
    const std::size_t end = std::min(url.find_first_of("/?#", i + 2), url.size());
    parts.authority = url.substr(i + 2, end - i - 2);
    i = end;
  }
  const std::size_t pathEnd = std::min(url.find_first_of("?#", i), url.size());
  parts.path = url.substr(i, pathEnd - i);
  if (pathEnd < url.size() && url[pathEnd] == '?') {
    const std::size_t queryEnd = std::min(url.find('#', pathEnd), url.size());
    parts.query = url.substr(pathEnd, queryEnd - pathEnd);
  }
  return parts;
}

std::string removeDotSegments(const std::string& path) {
  std::vector<std::string> out;
  std::size_t start = path.empty() || path[0] != '/' ? 0 : 1;
  const bool absolute = start == 1;
  bool trailingSlash = false;
  while (start <= path.size()) {
    const std::size_t slash = std::min(path.find('/', start), path.size());
    const std::string segment = path.substr(start, slash - start);
    trailingSlash = segment == "." || segment == "..";
    if (segment == "..") {
      if (!out.empty()) out.pop_back();
    } else if (segment != ".") {
      out.push_back(segment);
    }
    start = slash + 1;
  }
  std::string result = absolute ? "/" : "";
  for (std::size_t i = 0; i < out.size(); ++i) result += (i ? "/" : "") + out[i];
  if (trailingSlash && (result.empty() || result.back() != '/')) result += '/';
  return result;
}

bool hasScheme(const std::string& reference) {
  if (reference.empty() || !std::isalpha(static_cast<unsigned char>(reference[0]))) return false;
  for (const char c : reference) {
    if (c == ':') return true;
    if (!std::isalnum(static_cast<unsigned char>(c)) && c != '+' && c != '-' && c != '.') return false;
  }
  return false;
}

}  // namespace

std::string HTMLPage::resolve(const std::string& base, const std::string& rawReference) {
  const std::string reference(trim(rawReference));
  if (hasScheme(reference)) return reference;
  const URLParts b = split(base);
  const std::string origin = b.scheme + ":" + (b.hasAuthority ? "//" + b.authority : "");
  if (reference.empty()) return base.substr(0, base.find('#'));
  if (reference.rfind("//", 0) == 0) return b.scheme + ":" + reference;
  if (reference[0] == '#') return base.substr(0, base.find('#')) + reference;
  if (reference[0] == '?') return origin + b.path + reference;
  const std::size_t pathEnd = std::min(reference.find_first_of("?#"), reference.size());
  std::string path = reference.substr(0, pathEnd);
  if (path[0] != '/') {
    const std::string directory = b.path.empty() && b.hasAuthority ? "/" : b.path.substr(0, b.path.rfind('/') + 1);
    path = directory + path;
  }
  return origin + removeDotSegments(path) + reference.substr(pathEnd);
}

std::optional<Color> HTMLPage::parseCSSColor(std::string_view text) {
  const std::string value = lowercase(trim(text));
  if (value.empty()) return std::nullopt;
  if (value[0] == '#') {
    if (value.size() != 4 && value.size() != 7 && value.size() != 9) return std::nullopt;
    return ColorText::parseHex(value);
  }
  if (value.rfind("rgb", 0) == 0) {
    const std::size_t open = value.find('('), close = value.find(')');
    if (open == std::string::npos || close == std::string::npos || close < open) return std::nullopt;
    double parts[4] = {0, 0, 0, 1};
    std::size_t count = 0, i = open + 1;
    while (i < close && count < 4) {
      char* end = nullptr;
      const double v = std::strtod(value.c_str() + i, &end);
      if (end == value.c_str() + i) return std::nullopt;
      i = static_cast<std::size_t>(end - value.c_str());
      const bool percent = i < close && value[i] == '%';
      parts[count] = percent ? v / 100.0 * (count < 3 ? 255 : 1) : v;
      ++count;
      while (i < close && (value[i] == '%' || value[i] == ',' || value[i] == '/' || space(value[i]))) ++i;
    }
    if (count < 3) return std::nullopt;
    const auto unit = [](double v) { return std::clamp(v / 255.0, 0.0, 1.0); };
    return Color{unit(parts[0]), unit(parts[1]), unit(parts[2]), std::clamp(parts[3], 0.0, 1.0)};
  }
  static const std::pair<const char*, const char*> kNames[] = {
      {"white", "#ffffff"}, {"black", "#000000"},  {"red", "#ff0000"},          {"green", "#008000"},
      {"blue", "#0000ff"},  {"yellow", "#ffff00"}, {"orange", "#ffa500"},       {"purple", "#800080"},
      {"gray", "#808080"},  {"grey", "#808080"},   {"silver", "#c0c0c0"},       {"navy", "#000080"},
      {"teal", "#008080"},  {"maroon", "#800000"}, {"olive", "#808000"},        {"lime", "#00ff00"},
      {"aqua", "#00ffff"},  {"cyan", "#00ffff"},   {"fuchsia", "#ff00ff"},      {"magenta", "#ff00ff"},
      {"pink", "#ffc0cb"},  {"brown", "#a52a2a"},  {"transparent", "#00000000"}};
  for (const auto& [name, hex] : kNames)
    if (value == name) return ColorText::parseHex(hex);
  return std::nullopt;
}

HTMLPage HTMLPage::parse(std::string_view html, const std::string& url) {
  html = html.substr(0, std::min(html.size(), kMaxScannedBytes));
  HTMLPage page;
  std::string base = url;
  bool baseSet = false;
  bool inTitle = false, titleDone = false, inAnchor = false;
  Link link;
  std::optional<Color> bodyColor, sheetColor;
  const auto closeAnchor = [&] {
    if (inAnchor && !link.href.empty() && page.links_.size() < kMaxLinks) {
      link.text = std::string(trim(link.text));
      page.links_.push_back(std::move(link));
    }
    link = Link{};
    inAnchor = false;
  };

  std::size_t i = 0;
  while (i < html.size()) {
    if (html[i] != '<') {
      const std::size_t next = std::min(html.find('<', i), html.size());
      const std::string_view text = html.substr(i, next - i);
      if (inTitle) appendText(page.title_, text, kMaxTextLength);
      if (inAnchor) appendText(link.text, text, kMaxTextLength);
      i = next;
      continue;
    }
    if (html.substr(i, 4) == "<!--") {
      const std::size_t end = html.find("-->", i + 4);
      i = end == std::string_view::npos ? html.size() : end + 3;
      continue;
    }
    // The tag runs to the first '>' outside quotes.
    std::size_t end = i + 1;
    char quote = 0;
    while (end < html.size() && (quote || html[end] != '>')) {
      if (quote && html[end] == quote)
        quote = 0;
      else if (!quote && (html[end] == '"' || html[end] == '\'') && end > i + 1 &&
               (html[end - 1] == '=' || space(html[end - 1])))
        quote = html[end];
      ++end;
    }
    if (end >= html.size()) break;
    const std::string_view tag = html.substr(i + 1, end - i - 1);
    i = end + 1;
    const bool closing = !tag.empty() && tag[0] == '/';
    std::size_t nameEnd = closing ? 1 : 0;
    while (nameEnd < tag.size() && std::isalnum(static_cast<unsigned char>(tag[nameEnd]))) ++nameEnd;
    const std::string name = lowercase(tag.substr(closing ? 1 : 0, nameEnd - (closing ? 1 : 0)));

    if (name == "title") {
      inTitle = !closing && !titleDone;
      if (closing) titleDone = true;
    } else if (name == "a") {
      closeAnchor();
      if (!closing) {
        const auto list = attributes(tag);
        inAnchor = true;
        if (const auto* href = attribute(list, "href")) link.href = *href;
        if (const auto* target = attribute(list, "target")) link.target = *target;
      }
    } else if (name == "base" && !closing && !baseSet) {
      const auto list = attributes(tag);
      if (const auto* href = attribute(list, "href")) {
        base = resolve(url, *href);
        baseSet = true;
      }
    } else if (name == "body" && !closing && !bodyColor) {
      const auto list = attributes(tag);
      if (const auto* style = attribute(list, "style")) bodyColor = backgroundIn(*style);
      if (const auto* bgcolor = attribute(list, "bgcolor"); bgcolor && !bodyColor) bodyColor = parseCSSColor(*bgcolor);
    } else if ((name == "style" || name == "script") && !closing) {
      const std::size_t close = findCaseless(html, name == "style" ? "</style" : "</script", i);
      const std::size_t stop = close == std::string_view::npos ? html.size() : close;
      if (name == "style" && !sheetColor) sheetColor = bodyBackgroundInStyleSheet(html.substr(i, stop - i));
      i = stop;
    }
  }
  closeAnchor();
  page.title_ = std::string(trim(page.title_));
  for (auto& l : page.links_) l.href = resolve(base, l.href);
  page.backgroundColor_ = bodyColor ? bodyColor : sheetColor;
  return page;
}

}  // namespace tavo::platform::ui
