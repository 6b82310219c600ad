#include "platform/URLComponents.h"

#include <cstring>
#include <utility>

namespace tavo::platform {

namespace {

bool isAlpha(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
bool isDigit(char c) { return c >= '0' && c <= '9'; }
bool isHexDigit(char c) { return isDigit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F'); }
bool isUnreserved(char c) { return isAlpha(c) || isDigit(c) || std::strchr("-._~", c) != nullptr; }
bool isSubDelim(char c) { return c != '\0' && std::strchr("!$&'()*+,;=", c) != nullptr; }

int hexValue(char c) {
  if (isDigit(c)) return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  return c - 'A' + 10;
}

// Every character is allowed by `allowed` or starts a well-formed percent escape.
template <class Allowed>
bool isWellFormed(std::string_view text, Allowed allowed) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (c == '%') {
      if (i + 2 >= text.size() || !isHexDigit(text[i + 1]) || !isHexDigit(text[i + 2])) return false;
      i += 2;
    } else if (!allowed(c)) {
      return false;
    }
  }
  return true;
}

bool isPathChar(char c) { return isUnreserved(c) || isSubDelim(c) || c == ':' || c == '@' || c == '/'; }
bool isQueryChar(char c) { return isPathChar(c) || c == '?'; }
bool isUserInfoChar(char c) { return isUnreserved(c) || isSubDelim(c) || c == ':'; }
bool isHostChar(char c) { return isUnreserved(c) || isSubDelim(c); }
bool isIPLiteralChar(char c) { return isUnreserved(c) || isSubDelim(c) || c == ':'; }

bool isScheme(std::string_view text) {
  if (text.empty() || !isAlpha(text.front())) return false;
  for (char c : text)
    if (!isAlpha(c) && !isDigit(c) && c != '+' && c != '-' && c != '.') return false;
  return true;
}

std::optional<std::string> decoded(const std::optional<std::string>& text) {
  if (!text) return std::nullopt;
  return URLComponents::percentDecode(*text);
}

}  // namespace

std::optional<std::string> URLComponents::percentDecode(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '%') {
      out += text[i];
      continue;
    }
    if (i + 2 >= text.size() || !isHexDigit(text[i + 1]) || !isHexDigit(text[i + 2])) return std::nullopt;
    out += static_cast<char>(hexValue(text[i + 1]) * 16 + hexValue(text[i + 2]));
    i += 2;
  }
  return out;
}

std::optional<URLComponents> URLComponents::fromString(std::string_view text) {
  URLComponents url;
  url.text_ = std::string(text);
  std::string_view rest = text;

  // The split of RFC 3986, appendix B: scheme ":", "//" authority, path, "?" query, "#" fragment.
  if (const auto end = rest.find_first_of(":/?#"); end != std::string_view::npos && rest[end] == ':') {
    const std::string_view scheme = rest.substr(0, end);
    // A first segment with a colon that is not a scheme cannot start a relative reference either.
    if (!isScheme(scheme)) return std::nullopt;
    url.scheme_ = std::string(scheme);
    rest.remove_prefix(end + 1);
  }
  if (const auto hash = rest.find('#'); hash != std::string_view::npos) {
    const std::string_view fragment = rest.substr(hash + 1);
    if (!isWellFormed(fragment, isQueryChar)) return std::nullopt;
    url.fragment_ = std::string(fragment);
    rest = rest.substr(0, hash);
  }
  if (const auto question = rest.find('?'); question != std::string_view::npos) {
    const std::string_view query = rest.substr(question + 1);
    if (!isWellFormed(query, isQueryChar)) return std::nullopt;
    url.query_ = std::string(query);
    rest = rest.substr(0, question);
  }
  if (rest.starts_with("//")) {
    rest.remove_prefix(2);
    const auto slash = rest.find('/');
    std::string_view authority = rest.substr(0, slash);
    rest = slash == std::string_view::npos ? std::string_view() : rest.substr(slash);

    if (const auto at = authority.rfind('@'); at != std::string_view::npos) {
      const std::string_view userInfo = authority.substr(0, at);
      if (!isWellFormed(userInfo, isUserInfoChar)) return std::nullopt;
      url.userInfo_ = std::string(userInfo);
      authority.remove_prefix(at + 1);
    }
    std::string_view host = authority;
    std::optional<std::string_view> port;
    if (authority.starts_with('[')) {
      const auto close = authority.find(']');
      if (close == std::string_view::npos) return std::nullopt;
      host = authority.substr(0, close + 1);
      if (!isWellFormed(host.substr(1, host.size() - 2), isIPLiteralChar)) return std::nullopt;
      const std::string_view after = authority.substr(close + 1);
      if (!after.empty()) {
        if (after.front() != ':') return std::nullopt;
        port = after.substr(1);
      }
    } else {
      if (const auto colon = authority.find(':'); colon != std::string_view::npos) {
        host = authority.substr(0, colon);
        port = authority.substr(colon + 1);
      }
      if (!isWellFormed(host, isHostChar)) return std::nullopt;
    }
    url.host_ = std::string(host);
    // An empty port ("host:") is allowed and means none.
    if (port && !port->empty()) {
      long long number = 0;
      for (char c : *port) {
        if (!isDigit(c)) return std::nullopt;
        number = number * 10 + (c - '0');
        if (number > 0x7fffffff) return std::nullopt;
      }
      url.port_ = static_cast<int>(number);
    }
  }
  if (!isWellFormed(rest, isPathChar)) return std::nullopt;
  url.path_ = std::string(rest);
  return url;
}

std::optional<std::string> URLComponents::user() const {
  if (!userInfo_) return std::nullopt;
  return percentDecode(userInfo_->substr(0, userInfo_->find(':')));
}

std::optional<std::string> URLComponents::password() const {
  if (!userInfo_) return std::nullopt;
  const auto colon = userInfo_->find(':');
  if (colon == std::string::npos) return std::nullopt;
  return percentDecode(userInfo_->substr(colon + 1));
}

std::optional<std::string> URLComponents::host() const {
  if (!host_) return std::nullopt;
  if (host_->starts_with('[')) return percentDecode(host_->substr(1, host_->size() - 2));
  return percentDecode(*host_);
}

std::string URLComponents::path() const { return percentDecode(path_).value_or(std::string()); }

std::optional<std::string> URLComponents::query() const { return decoded(query_); }

std::optional<std::string> URLComponents::fragment() const { return decoded(fragment_); }

std::optional<std::vector<URLComponents::QueryItem>> URLComponents::queryItems() const {
  if (!query_) return std::nullopt;
  std::vector<QueryItem> items;
  if (query_->empty()) return items;
  std::string_view rest = *query_;
  for (;;) {
    const auto amp = rest.find('&');
    const std::string_view piece = rest.substr(0, amp);
    QueryItem item;
    const auto equals = piece.find('=');
    item.name = percentDecode(piece.substr(0, equals)).value_or(std::string());
    if (equals != std::string_view::npos) item.value = percentDecode(piece.substr(equals + 1));
    items.push_back(std::move(item));
    if (amp == std::string_view::npos) break;
    rest.remove_prefix(amp + 1);
  }
  return items;
}

std::vector<std::string> URLComponents::pathComponents() const {
  std::vector<std::string> components;
  std::string_view rest = path_;
  if (rest.starts_with('/')) components.emplace_back("/");
  // Split before decoding, so an escaped "/" stays inside its component.
  while (!rest.empty()) {
    const auto slash = rest.find('/');
    const std::string_view segment = rest.substr(0, slash);
    if (!segment.empty()) components.push_back(percentDecode(segment).value_or(std::string(segment)));
    if (slash == std::string_view::npos) break;
    rest.remove_prefix(slash + 1);
  }
  return components;
}

std::optional<std::string> URLComponents::lastPathComponent() const {
  auto components = pathComponents();
  if (components.empty()) return std::nullopt;
  return std::move(components.back());
}

}  // namespace tavo::platform
