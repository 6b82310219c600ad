#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tavo::platform {

// A URL split into its parts as the platform's URL-components parser does it (RFC 3986, no resolution
// against a base URL). Text that is not a well-formed URL or URL reference (a space, a bad percent escape,
// a non-ASCII byte, a port that is not a number) does not parse. Plain value; safe to copy between threads.
class URLComponents {
 public:
  // One "name" or "name=value" piece of the query. value is nullopt when the piece has no "=".
  struct QueryItem {
    std::string name;
    std::optional<std::string> value;
    friend bool operator==(const QueryItem&, const QueryItem&) = default;
  };

  // nullopt when text is not a URL.
  static std::optional<URLComponents> fromString(std::string_view text);

  // The text it was parsed from.
  const std::string& string() const { return text_; }

  // Absent parts are nullopt; present but empty parts are empty strings ("http://h/?" has an empty query).
  const std::optional<std::string>& scheme() const { return scheme_; }  // as written
  std::optional<std::string> user() const;                              // percent-decoded
  std::optional<std::string> password() const;                          // percent-decoded
  std::optional<std::string> host() const;  // percent-decoded; an IP literal without its brackets
  const std::optional<std::string>& percentEncodedHost() const { return host_; }
  std::optional<int> port() const { return port_; }
  std::string path() const;  // percent-decoded; empty when the URL has none
  const std::string& percentEncodedPath() const { return path_; }
  std::optional<std::string> query() const;  // percent-decoded
  const std::optional<std::string>& percentEncodedQuery() const { return query_; }
  std::optional<std::string> fragment() const;  // percent-decoded
  const std::optional<std::string>& percentEncodedFragment() const { return fragment_; }

  // The query split at "&", each piece at its first "=", names and values percent-decoded ("+" stays "+").
  // nullopt when there is no query at all; an empty query gives no items; "a&&b" gives an empty-named one.
  std::optional<std::vector<QueryItem>> queryItems() const;

  // The path's components, percent-decoded: "/a/b/" gives "/", "a", "b"; a relative "a/b" gives "a", "b";
  // an empty path gives none.
  std::vector<std::string> pathComponents() const;
  // The last of pathComponents(), or nullopt when there are none.
  std::optional<std::string> lastPathComponent() const;

  // "%41" -> "A". nullopt when an escape is malformed ("%4", "%zz").
  static std::optional<std::string> percentDecode(std::string_view text);

 private:
  std::string text_;
  std::optional<std::string> scheme_;
  std::optional<std::string> userInfo_;
  std::optional<std::string> host_;
  std::optional<int> port_;
  std::string path_;
  std::optional<std::string> query_;
  std::optional<std::string> fragment_;
};

}  // namespace tavo::platform
