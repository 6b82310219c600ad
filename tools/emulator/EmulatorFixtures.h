#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>

namespace tavo::emulator {

// What the emulated web service knows: the registered applications, the start-session configuration, the
// user data and install attribution it hands out, short links, and the in-app content (campaigns, coupons,
// native ads, rules) with the pages and images of that content. Read from a JSON file (see README.md); immutable once
// loaded, so it is shared freely between server threads.
class EmulatorFixtures {
 public:
  using json = nlohmann::ordered_json;

  // The set compiled in from fixtures/default.json.
  static EmulatorFixtures defaults();
  // Throws std::runtime_error naming the file and the fault when it cannot be read, is not JSON, or has a
  // section of the wrong shape.
  static EmulatorFixtures fromFile(const std::string& path);
  static EmulatorFixtures fromJSON(std::string_view text);

  // Whether an application with exactly these credentials is registered.
  bool isRegistered(const std::string& apiUser, const std::string& apiKey) const;
  // Elements of the start-session answer's "config" -> "events".
  const json& screenEvents() const { return document_["screenEvents"]; }
  // The server's data about a user, answered to a retrieving user update.
  const json& userInfo() const { return document_["userInfo"]; }
  const json& attributionInfo() const { return document_["attributionInfo"]; }
  // The long URL behind a short link, as the SDK names one: the link's host ("go.tavo.link") and its
  // identifier (the last path component, without a leading "~"); nullopt for a link not in the fixtures.
  std::optional<std::string> resolveShortLink(const std::string& host, const std::string& identifier) const;
  // The campaign answered to a check of an in-app type ("webview", "banner", "textbanner", "adball",
  // "tabbar"), or to a labelled check ("banner/home"), or nullopt for none.
  std::optional<json> campaign(const std::string& type) const;
  // The coupons; only the one whose "ID" matches when couponId is given.
  json coupons(const std::optional<std::string>& couponId) const;
  // The native ads of a template, else those under "default"; an empty list for none.
  json nativeAds(const std::string& templateId) const;
  // The rule answered to a rule check named key (a screen name or an event name), or nullopt.
  std::optional<json> rule(const std::string& key) const;
  // The HTML of a page the emulator serves itself at /pages/<name>, or nullopt.
  std::optional<std::string> page(const std::string& name) const;
  // How an image it serves at /images/<name> looks ({"width", "height", "color", "text"}), or nullopt.
  std::optional<json> image(const std::string& name) const;

  const json& document() const { return document_; }

 private:
  explicit EmulatorFixtures(json document);
  // Fills in the optional sections and checks the shape of each; throws std::runtime_error.
  static json validated(json document);

  json document_;
};

}  // namespace tavo::emulator
