#include "platform/CookieStorage.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>
#include <string_view>
#include <utility>

#include "platform/FileSystem.h"
#include "platform/MutexLock.h"
#include "platform/URLComponents.h"
#include "platform/UTF8.h"

namespace tavo::platform {

namespace {

using nlohmann::json;

std::string lowercase(std::string_view text) {
  std::string out(text);
  std::transform(out.begin(), out.end(), out.begin(), [](unsigned char c) { return std::tolower(c); });
  return out;
}

// Cookies are kept as their JSON file can hold them, so memory and file agree and the file can always be
// written: bytes that are not UTF-8 as U+FFFD, as the platform's strings would; a date that never comes as the
// latest finite one; an expiry that is no number as none (a session cookie).
CookieStorage::Cookie storable(CookieStorage::Cookie cookie) {
  for (std::string* text : {&cookie.name, &cookie.value, &cookie.domain, &cookie.path, &cookie.version})
    if (!UTF8::isValid(*text)) *text = UTF8::repaired(*text);
  if (cookie.originURL && !UTF8::isValid(*cookie.originURL)) cookie.originURL = UTF8::repaired(*cookie.originURL);
  if (cookie.expiresDate) {
    const double seconds = cookie.expiresDate->timeIntervalSince1970();
    if (std::isnan(seconds)) cookie.expiresDate.reset();
    if (seconds == std::numeric_limits<double>::infinity())
      cookie.expiresDate = Date(std::numeric_limits<double>::max());
  }
  return cookie;
}

bool sameCookie(const CookieStorage::Cookie& a, const CookieStorage::Cookie& b) {
  return a.name == b.name && lowercase(a.domain) == lowercase(b.domain) && a.path == b.path;
}

// A leading dot opens the cookie to sub-domains; without it only the exact host matches.
bool domainMatches(const std::string& cookieDomain, const std::string& host) {
  const std::string domain = lowercase(cookieDomain);
  const std::string h = lowercase(host);
  if (!domain.starts_with('.')) return h == domain;
  const std::string_view bare = std::string_view(domain).substr(1);
  return h == bare || h.ends_with(domain);
}

bool pathMatches(std::string_view cookiePath, std::string_view requestPath) {
  if (requestPath.empty() || requestPath.front() != '/') requestPath = "/";
  if (requestPath == cookiePath) return true;
  if (!requestPath.starts_with(cookiePath)) return false;
  return cookiePath.ends_with('/') || requestPath[cookiePath.size()] == '/';
}

json toJSON(const CookieStorage::Cookie& cookie) {
  json out = {{"name", cookie.name},       {"value", cookie.value},
              {"domain", cookie.domain},   {"path", cookie.path},
              {"version", cookie.version}, {"expiresDate", cookie.expiresDate->timeIntervalSince1970()},
              {"secure", cookie.secure}};
  if (cookie.originURL) out["originURL"] = *cookie.originURL;
  return out;
}

std::string stringOr(const json& in, const char* key, std::string fallback) {
  const auto found = in.find(key);
  return found != in.end() && found->is_string() ? found->get<std::string>() : fallback;
}

// A cookie read back from the file; entries that are not whole cookies are skipped.
std::optional<CookieStorage::Cookie> fromJSON(const json& in) {
  if (!in.is_object()) return std::nullopt;
  const auto name = in.find("name");
  const auto expires = in.find("expiresDate");
  if (name == in.end() || !name->is_string() || expires == in.end() || !expires->is_number()) return std::nullopt;
  CookieStorage::Cookie cookie;
  cookie.name = name->get<std::string>();
  cookie.value = stringOr(in, "value", "");
  cookie.domain = stringOr(in, "domain", "");
  cookie.path = stringOr(in, "path", "/");
  cookie.version = stringOr(in, "version", "0");
  cookie.expiresDate = Date(expires->get<double>());
  if (const auto origin = in.find("originURL"); origin != in.end() && origin->is_string())
    cookie.originURL = origin->get<std::string>();
  const auto secure = in.find("secure");
  cookie.secure = secure != in.end() && secure->is_boolean() && secure->get<bool>();
  return cookie;
}

}  // namespace

CookieStorage::CookieStorage(std::shared_ptr<const FileSystem> fileSystem, std::function<Date()> now)
    : fileSystem_(std::move(fileSystem)), path_(fileSystem_->dataDirectory() + "/" + kFileName), now_(std::move(now)) {
  MutexLock lock(mutex_);
  loadLocked();
}

CookieStorage::AcceptPolicy CookieStorage::cookieAcceptPolicy() const {
  MutexLock lock(mutex_);
  return policy_;
}

bool CookieStorage::setCookieAcceptPolicy(AcceptPolicy policy) {
  MutexLock lock(mutex_);
  if (policy_ == policy) return true;
  policy_ = policy;
  return saveLocked();
}

bool CookieStorage::setCookie(const Cookie& cookie) {
  MutexLock lock(mutex_);
  if (policy_ == Never) return true;
  storeLocked(cookie);
  return saveLocked();
}

bool CookieStorage::setCookies(const std::vector<Cookie>& cookies, const std::string& url,
                               const std::string& mainDocumentURL) {
  MutexLock lock(mutex_);
  if (policy_ == Never) return true;
  const auto source = URLComponents::fromString(url);
  const auto sourceHost = source ? source->host() : std::nullopt;
  const auto mainDocument = URLComponents::fromString(mainDocumentURL);
  const auto mainHost = mainDocument ? mainDocument->host() : std::nullopt;
  bool changed = false;
  for (Cookie cookie : cookies) {
    // A cookie without a domain belongs to the host that sent it.
    if (cookie.domain.empty()) {
      if (!sourceHost) continue;
      cookie.domain = *sourceHost;
    }
    if (!cookie.originURL) cookie.originURL = url;
    if (policy_ == OnlyFromMainDocumentDomain) {
      const std::string bare = cookie.domain.starts_with('.') ? cookie.domain.substr(1) : cookie.domain;
      if (!mainHost || !domainMatches("." + bare, *mainHost)) continue;
    }
    storeLocked(std::move(cookie));
    changed = true;
  }
  return !changed || saveLocked();
}

bool CookieStorage::deleteCookie(const Cookie& cookie) {
  const Cookie stored = storable(cookie);
  MutexLock lock(mutex_);
  const auto before = cookies_.size();
  std::erase_if(cookies_, [&](const Cookie& kept) { return sameCookie(kept, stored); });
  return cookies_.size() == before || saveLocked();
}

std::vector<CookieStorage::Cookie> CookieStorage::cookies() {
  MutexLock lock(mutex_);
  purgeExpiredLocked();
  return cookies_;
}

std::vector<CookieStorage::Cookie> CookieStorage::cookiesForURL(const std::string& url) {
  const auto components = URLComponents::fromString(url);
  const auto host = components ? components->host() : std::nullopt;
  if (!host) return {};
  const bool secureRequest = components->scheme() && lowercase(*components->scheme()) == "https";
  MutexLock lock(mutex_);
  purgeExpiredLocked();
  std::vector<Cookie> matching;
  for (const Cookie& cookie : cookies_)
    if (domainMatches(cookie.domain, *host) && pathMatches(cookie.path, components->percentEncodedPath()) &&
        (!cookie.secure || secureRequest))
      matching.push_back(cookie);
  return matching;
}

void CookieStorage::storeLocked(Cookie cookie) {
  cookie = storable(std::move(cookie));
  const auto existing =
      std::find_if(cookies_.begin(), cookies_.end(), [&](const Cookie& stored) { return sameCookie(stored, cookie); });
  // Setting an expired cookie is how a site deletes one.
  const bool expired = cookie.expiresDate && *cookie.expiresDate <= now_();
  if (existing == cookies_.end()) {
    if (!expired) cookies_.push_back(std::move(cookie));
  } else if (expired) {
    cookies_.erase(existing);
  } else {
    *existing = std::move(cookie);
  }
}

void CookieStorage::purgeExpiredLocked() {
  const Date now = now_();
  const auto removed =
      std::erase_if(cookies_, [&](const Cookie& cookie) { return cookie.expiresDate && *cookie.expiresDate <= now; });
  // A failed save leaves the expired cookies in the file, where the next load drops them again.
  if (removed > 0) static_cast<void>(saveLocked());
}

void CookieStorage::loadLocked() {
  const auto contents = fileSystem_->contentsAtPath(path_);
  if (!contents) return;
  const json root = json::parse(contents->begin(), contents->end(), nullptr, false);
  if (!root.is_object()) return;
  if (const auto policy = root.find("acceptPolicy"); policy != root.end() && policy->is_number_integer()) {
    const int value = policy->get<int>();
    if (value >= Always && value <= OnlyFromMainDocumentDomain) policy_ = static_cast<AcceptPolicy>(value);
  }
  if (const auto stored = root.find("cookies"); stored != root.end() && stored->is_array())
    for (const json& item : *stored)
      if (auto cookie = fromJSON(item)) cookies_.push_back(storable(std::move(*cookie)));
}

bool CookieStorage::saveLocked() const {
  json stored = json::array();
  // Session cookies end with the process, as on the phone.
  for (const Cookie& cookie : cookies_)
    if (!cookie.isSessionOnly()) stored.push_back(toJSON(cookie));
  const std::string text = json{{"acceptPolicy", static_cast<int>(policy_)}, {"cookies", std::move(stored)}}.dump(2);
  // A failed write keeps the cookies in memory; the next change tries again.
  return fileSystem_->writeAtomically(path_, Data(text.begin(), text.end()));
}

}  // namespace tavo::platform
