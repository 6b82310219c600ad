#include "emulator/WebServiceResponder.h"

#include <array>
#include <string_view>

namespace tavo::emulator {

namespace {

using json = nlohmann::ordered_json;

const json kOk = {{"status", 200}};

std::string text(const json& object, const char* key) {
  if (!object.is_object()) return {};
  const auto found = object.find(key);
  if (found == object.end()) return {};
  if (found->is_string()) return found->get<std::string>();
  if (found->is_number_integer()) return std::to_string(found->get<long long>());
  return {};
}

bool isRetrievingUpdate(const RecordedRequest& request) {
  if (request.kind != RecordedRequest::kForm) return false;
  const json* params = request.params(0);
  return params && text(*params, "tavo_retrieve") == "yes";
}

bool isUserAction(const std::string& action) {
  return action == "updateuser" || action == "firstlogin" || action == "newregister";
}

WebServiceResponder::Answer jsonAnswer(const json& body, int httpStatus = 200) {
  return {httpStatus, body.dump(-1, ' ', false, json::error_handler_t::replace), "application/json"};
}

WebServiceResponder::Answer textAnswer(int status, int httpStatus) {
  return {httpStatus, std::to_string(status), "text/plain"};
}

// The parameter with which a check names its campaign slot; none for the types without slots.
const char* labelParameter(const std::string& checkType) {
  if (checkType == "webview") return "tavo_webview_label";
  if (checkType == "textbanner") return "tavo_strip_label";
  if (checkType == "banner") return "label";
  return nullptr;
}

// An HTTP status line must carry a code the client understands; the SDK reads only the body.
int httpStatusFor(int status) { return status >= 200 && status <= 599 ? status : 200; }

}  // namespace

WebServiceResponder::WebServiceResponder(const EmulatorFixtures& fixtures, UserRegistry& users, std::string origin)
    : fixtures_(fixtures), users_(users), origin_(std::move(origin)) {}

std::string WebServiceResponder::withOrigin(std::string text) const {
  const std::string_view placeholder(kOriginPlaceholder);
  for (auto at = text.find(placeholder); at != std::string::npos; at = text.find(placeholder, at + origin_.size()))
    text.replace(at, placeholder.size(), origin_);
  return text;
}

json WebServiceResponder::withOrigin(json value) const {
  if (value.is_string()) return withOrigin(value.get<std::string>());
  if (value.is_structured())
    for (auto& element : value) element = withOrigin(std::move(element));
  return value;
}

bool WebServiceResponder::isKnownAction(const std::string& action) {
  static constexpr std::array<const char*, 7> kActions = {
      "tracker", "updateuser", "firstlogin", "newregister", "addpurchase", "setviewed", "setcommunicationinteract"};
  for (const char* known : kActions)
    if (action == known) return true;
  return false;
}

WebServiceResponder::Answer WebServiceResponder::statusAnswer(const RecordedRequest& request, int status) {
  if (request.action == "tracker" || isRetrievingUpdate(request))
    return jsonAnswer({{"status", status}}, httpStatusFor(status));
  return textAnswer(status, httpStatusFor(status));
}

WebServiceResponder::Answer WebServiceResponder::answer(const RecordedRequest& request) const {
  if (!isKnownAction(request.action)) return {404, "404", "text/plain"};
  if (!fixtures_.isRegistered(request.apiUser, request.apiKey)) return statusAnswer(request, 401);
  if (request.kind == RecordedRequest::kUnreadable) return statusAnswer(request, 400);

  if (request.action == "tracker") {
    // A parked batch sent again carries only credentials: its operations are not there to answer one by one.
    if (request.kind != RecordedRequest::kBatch) return jsonAnswer(kOk);
    json answers = json::array();
    for (const auto& operation : request.operations) {
      if (!operation.is_object()) continue;
      answers.push_back({{"id", operation.value("id", json())}, {"response", operationAnswer(operation)}});
    }
    return jsonAnswer({{"operations", std::move(answers)}});
  }
  if (isUserAction(request.action) && isRetrievingUpdate(request)) return userUpdateAnswer(request);
  return textAnswer(200, 200);
}

WebServiceResponder::Answer WebServiceResponder::userUpdateAnswer(const RecordedRequest& request) const {
  json response = json::object();
  if (const std::string udid = text(*request.params(0), "udid"); !udid.empty())
    response["idtAVoUser"] = users_.userIdForDevice(udid);
  response["info"] = fixtures_.userInfo();
  return jsonAnswer({{"status", 200}, {"response", std::move(response)}});
}

json WebServiceResponder::operationAnswer(const json& operation) const {
  const std::string type = text(operation, "type");
  const std::string action = text(operation, "action");
  const auto found = operation.find("params");
  const json params = found != operation.end() && found->is_object() ? *found : json::object();

  if (type == "event") return eventAnswer(params);
  if (type == "user" && action == "attribution_info")
    return {{"status", 200}, {"data", {{"attributionInfo", fixtures_.attributionInfo()}}}};
  if (type == "stu" && action == "resolve") {
    // An unknown link gets no URL: echoing the short link back would send the app round in a loop.
    const auto url = fixtures_.resolveShortLink(text(params, "stu_subdomain"), text(params, "stu_id"));
    if (!url) return {{"status", 404}};
    return {{"status", 200}, {"data", {{"url", *url}}}};
  }
  if (action == "check" || action == "validredeems" || action == "redeem" || action == "cancel")
    return inAppAnswer(type, action, params);
  // User reset, search-ads attribution and anything newer: accepted.
  return kOk;
}

json WebServiceResponder::eventAnswer(const json& params) const {
  if (text(params, "eventName") == "tavo_start_session" || text(params, "retrieve_config") == "1")
    return {{"status", 200}, {"config", {{"events", fixtures_.screenEvents()}}}};
  if (text(params, "tavo_rules") == "1") {
    // A screen event names its screen in its attributes; any other event by its name.
    std::string key = text(params, "eventName");
    if (const auto attributes = params.find("attributes"); attributes != params.end()) {
      if (const std::string screen = text(*attributes, "e_screen_name"); !screen.empty()) key = screen;
    }
    if (auto rule = fixtures_.rule(key)) return {{"status", 200}, {"rule", withOrigin(std::move(*rule))}};
  }
  return kOk;
}

json WebServiceResponder::inAppAnswer(const std::string& type, const std::string& action, const json& params) const {
  if (type == "coupon") {
    if (action == "redeem" || action == "cancel") return kOk;
    const std::string couponId = text(params, "tavo_coupon_id");
    json coupons = fixtures_.coupons(couponId.empty() ? std::nullopt : std::optional<std::string>(couponId));
    if (coupons.empty()) return {{"status", 200}, {"response", "0"}};
    return {{"status", 200}, {"response", std::move(coupons)}};
  }
  if (type == "native_ad") {
    json ads = fixtures_.nativeAds(text(params, "template_id"));
    const auto batch = params.find("batch");
    if (batch != params.end() && ((batch->is_boolean() && batch->get<bool>()) || (batch->is_number() && *batch != 0)))
      return {{"status", 200}, {"native_ads", std::move(ads)}};
    return {{"status", 200}, {"native_ad", ads.empty() ? json::object() : ads.front()}};
  }
  // A labelled check asks for its slot's campaign, kept under "<type>/<label>".
  const char* labelKey = labelParameter(type);
  const std::string label = labelKey ? text(params, labelKey) : std::string();
  if (auto campaign = fixtures_.campaign(label.empty() ? type : type + "/" + label))
    return {{"status", 200}, {"response", withOrigin(std::move(*campaign))}};
  return {{"status", 200}, {"response", "0"}};
}

}  // namespace tavo::emulator
