#include "emulator/EmulatorFixtures.h"

#include <fstream>
#include <sstream>
#include <stdexcept>

namespace tavo::emulator {

// fixtures/default.json, compiled in by the build (DefaultFixtures.cpp is generated).
extern const char kDefaultFixtures[];

namespace {

using json = nlohmann::ordered_json;

void requireShape(const json& document, const char* section, bool (json::*test)() const noexcept, const char* shape) {
  if (!(document[section].*test)())
    throw std::runtime_error(std::string("fixtures: \"") + section + "\" must be " + shape);
}

std::string integerOrText(const json& value) {
  if (value.is_string()) return value.get<std::string>();
  if (value.is_number_integer()) return std::to_string(value.get<long long>());
  return value.dump();
}

// "host/identifier": the SDK sends only these two, so a scheme, a longer path or the "~" it strips could
// never match and would only hide a typo.
bool isShortLinkKey(const std::string& key) {
  const auto slash = key.find('/');
  if (slash == std::string::npos || slash == 0 || slash + 1 == key.size()) return false;
  if (key.find('/', slash + 1) != std::string::npos || key.find(':') != std::string::npos) return false;
  return key[slash + 1] != '~';
}

}  // namespace

EmulatorFixtures::EmulatorFixtures(json document) : document_(std::move(document)) {}

EmulatorFixtures EmulatorFixtures::defaults() { return fromJSON(kDefaultFixtures); }

EmulatorFixtures EmulatorFixtures::fromFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) throw std::runtime_error("fixtures: cannot read " + path);
  std::ostringstream text;
  text << in.rdbuf();
  try {
    return fromJSON(text.str());
  } catch (const std::runtime_error& error) {
    throw std::runtime_error(path + ": " + error.what());
  }
}

EmulatorFixtures EmulatorFixtures::fromJSON(std::string_view text) {
  json document = json::parse(text.begin(), text.end(), nullptr, /*allow_exceptions=*/false);
  if (document.is_discarded()) throw std::runtime_error("fixtures: not JSON");
  return EmulatorFixtures(validated(std::move(document)));
}

json EmulatorFixtures::validated(json document) {
  if (!document.is_object()) throw std::runtime_error("fixtures: the top level must be an object");
  // Every section but the applications may be left out.
  for (const char* list : {"screenEvents", "coupons"})
    if (!document.contains(list)) document[list] = json::array();
  for (const char* map :
       {"userInfo", "attributionInfo", "shortLinks", "campaigns", "nativeAds", "rules", "pages", "images"})
    if (!document.contains(map)) document[map] = json::object();

  if (!document.contains("apps") || !document["apps"].is_array() || document["apps"].empty())
    throw std::runtime_error("fixtures: \"apps\" must list at least one application");
  for (const auto& app : document["apps"]) {
    if (!app.is_object() || !app.contains("apiUser") || !app["apiUser"].is_string() || !app.contains("apiKey") ||
        !app["apiKey"].is_string())
      throw std::runtime_error("fixtures: every application needs string \"apiUser\" and \"apiKey\"");
  }
  requireShape(document, "screenEvents", &json::is_array, "a list");
  requireShape(document, "coupons", &json::is_array, "a list");
  requireShape(document, "userInfo", &json::is_object, "an object");
  requireShape(document, "attributionInfo", &json::is_object, "an object");
  requireShape(document, "shortLinks", &json::is_object, "an object");
  requireShape(document, "campaigns", &json::is_object, "an object");
  requireShape(document, "nativeAds", &json::is_object, "an object");
  requireShape(document, "rules", &json::is_object, "an object");
  requireShape(document, "pages", &json::is_object, "an object");
  requireShape(document, "images", &json::is_object, "an object");
  for (const auto& [name, html] : document["pages"].items())
    if (!html.is_string()) throw std::runtime_error("fixtures: page " + name + " must be HTML text");
  for (const auto& entry : document["images"].items()) {
    const json& image = entry.value();
    const std::string& name = entry.key();
    const auto positive = [&](const char* key) {
      return image.is_object() && image.contains(key) && image[key].is_number_integer() && image[key].get<int>() > 0 &&
             image[key].get<int>() <= 4096;
    };
    if (!positive("width") || !positive("height") || !image.contains("color") || !image["color"].is_string())
      throw std::runtime_error("fixtures: image " + name +
                               " needs \"width\" and \"height\" (1 to 4096) and a \"color\" (\"#RRGGBB\")");
  }
  for (const auto& [key, target] : document["shortLinks"].items()) {
    if (!isShortLinkKey(key))
      throw std::runtime_error("fixtures: short link \"" + key +
                               "\" must be written host/identifier, e.g. \"go.tavo.link/spring\"");
    if (!target.is_string()) throw std::runtime_error("fixtures: short link " + key + " must map to a string");
  }
  for (const auto& [templateId, ads] : document["nativeAds"].items())
    if (!ads.is_array()) throw std::runtime_error("fixtures: native ads of " + templateId + " must be a list");
  return document;
}

bool EmulatorFixtures::isRegistered(const std::string& apiUser, const std::string& apiKey) const {
  for (const auto& app : document_["apps"])
    if (app["apiUser"] == apiUser && app["apiKey"] == apiKey) return true;
  return false;
}

std::optional<std::string> EmulatorFixtures::resolveShortLink(const std::string& host,
                                                              const std::string& identifier) const {
  const auto& links = document_["shortLinks"];
  const auto found = links.find(host + "/" + identifier);
  if (found == links.end()) return std::nullopt;
  return found->get<std::string>();
}

std::optional<json> EmulatorFixtures::campaign(const std::string& type) const {
  const auto& campaigns = document_["campaigns"];
  const auto found = campaigns.find(type);
  if (found == campaigns.end() || found->is_null()) return std::nullopt;
  return *found;
}

json EmulatorFixtures::coupons(const std::optional<std::string>& couponId) const {
  if (!couponId) return document_["coupons"];
  json matching = json::array();
  for (const auto& coupon : document_["coupons"])
    if (coupon.is_object() && coupon.contains("ID") && integerOrText(coupon["ID"]) == *couponId)
      matching.push_back(coupon);
  return matching;
}

json EmulatorFixtures::nativeAds(const std::string& templateId) const {
  const auto& ads = document_["nativeAds"];
  if (auto found = ads.find(templateId); found != ads.end()) return *found;
  if (auto found = ads.find("default"); found != ads.end()) return *found;
  return json::array();
}

std::optional<std::string> EmulatorFixtures::page(const std::string& name) const {
  const auto& pages = document_["pages"];
  const auto found = pages.find(name);
  if (found == pages.end()) return std::nullopt;
  return found->get<std::string>();
}

std::optional<json> EmulatorFixtures::image(const std::string& name) const {
  const auto& images = document_["images"];
  const auto found = images.find(name);
  if (found == images.end()) return std::nullopt;
  return *found;
}

std::optional<json> EmulatorFixtures::rule(const std::string& key) const {
  const auto& rules = document_["rules"];
  const auto found = rules.find(key);
  if (found == rules.end() || found->is_null()) return std::nullopt;
  return *found;
}

}  // namespace tavo::emulator
