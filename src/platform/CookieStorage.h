#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/Mutex.h"
#include "tavo/platform/Date.h"

namespace tavo::platform {

class FileSystem;

// The application's HTTP cookie storage, kept in one JSON file in the app's data directory. Cookies with an
// expiry survive a restart; cookies without one (session cookies) live in memory only. Every change is
// written through a temporary file renamed over the old one, so a crash leaves the old or the new file. A
// change that cannot be written (a full disk) returns false and holds in memory; the next change writes it.
// Thread-safe: every operation may be called from any thread.
class CookieStorage {
 public:
  // The platform's accept-policy values.
  enum AcceptPolicy { Always = 0, Never = 1, OnlyFromMainDocumentDomain = 2 };

  // One cookie, as built from a property set. domain with a leading "." matches that domain and its
  // sub-domains; without one, only that exact host.
  struct Cookie {
    std::string name;
    std::string value;
    std::string domain;
    std::string path = "/";
    std::string version = "0";
    std::optional<Date> expiresDate;  // nullopt: a session cookie
    std::optional<std::string> originURL;
    bool secure = false;

    bool isSessionOnly() const { return !expiresDate.has_value(); }
    friend bool operator==(const Cookie&, const Cookie&) = default;
  };

  static constexpr const char* kFileName = "Cookies.json";

  // Keeps its file in the data directory of fileSystem (read now; missing or unreadable means empty). now
  // gives the current wall time, asked whenever expiry matters.
  CookieStorage(std::shared_ptr<const FileSystem> fileSystem, std::function<Date()> now);

  AcceptPolicy cookieAcceptPolicy() const;
  // Each change returns false when it holds in memory only (the file could not be written).
  [[nodiscard]] bool setCookieAcceptPolicy(AcceptPolicy policy);

  // Stores the cookie, replacing one with the same name, domain and path, unless the policy is Never. A
  // cookie already expired removes the one it would replace and is not stored.
  [[nodiscard]] bool setCookie(const Cookie& cookie);
  // Cookies a document at url received, under the policy: Never refuses all; OnlyFromMainDocumentDomain
  // accepts only cookies whose domain matches the host of mainDocumentURL.
  [[nodiscard]] bool setCookies(const std::vector<Cookie>& cookies, const std::string& url,
                                const std::string& mainDocumentURL);
  [[nodiscard]] bool deleteCookie(const Cookie& cookie);  // by name, domain and path

  // Every unexpired cookie, in the order they were first stored. Expired ones are purged on the way.
  std::vector<Cookie> cookies();
  // The unexpired cookies a request to url would carry: domain, path and (for secure ones) https match.
  // An unparsable url yields none.
  std::vector<Cookie> cookiesForURL(const std::string& url);

  const std::string& path() const { return path_; }

 private:
  void loadLocked() REQUIRES(mutex_);
  [[nodiscard]] bool saveLocked() const REQUIRES(mutex_);
  // Drops expired cookies; saves when any went.
  void purgeExpiredLocked() REQUIRES(mutex_);
  void storeLocked(Cookie cookie) REQUIRES(mutex_);

  const std::shared_ptr<const FileSystem> fileSystem_;
  const std::string path_;
  const std::function<Date()> now_;
  mutable Mutex mutex_;  // also keeps the file to one writer
  AcceptPolicy policy_ GUARDED_BY(mutex_) = OnlyFromMainDocumentDomain;
  std::vector<Cookie> cookies_ GUARDED_BY(mutex_);
};

}  // namespace tavo::platform
