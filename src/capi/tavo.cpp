// The C interface: a thin skin over the C++ facade. Every entry point copies what it is given, turns NULL
// into "absent", refuses JSON text that is not an object with a log line instead of failing, and lets no
// exception out: a C host cannot catch one, so it would abort the process. Calls that reach the SDK check the
// main thread in debug builds, here or in the facade.

#include "tavo/tavo.h"

#include <cstdlib>
#include <cstring>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <type_traits>
#include <vector>

#include "capi/CInterfaceSupport.h"
#include "core/MainThreadCheck.h"
#include "core/TAVOLogger.h"
#include "platform/Application.h"
#include "platform/CookieStorage.h"
#include "platform/JSONSerialization.h"
#include "platform/Platform.h"
#include "tavo/TAVO.h"

struct tavo_configuration {
  tavo::TAVOConfiguration configuration;
};

struct tavo_event_request {
  tavo::TAVOEventRequest request;
  // The SDK holds the delegate weakly; the handle keeps it alive.
  std::shared_ptr<tavo::TAVORequestDelegate> delegate;
};

namespace {

using tavo::TAVOLegacy;

using tavo::capi::copy;
using tavo::capi::guarded;
using tavo::capi::list;
using tavo::capi::text;

// A dictionary from JSON object text; NULL is absent, anything but an object is refused with a log line.
std::optional<tavo::Dictionary> dictionary(const char* json, const char* what) {
  if (!json) return std::nullopt;
  const auto value = tavo::platform::JSONSerialization::JSONObjectWithData(json);
  if (value && value->isDictionary()) return *value->asDictionary();
  tavo::TAVOLogger::logAndType(std::string(what) + " ignored: not a JSON object", tavo::TAVOLogger::Plain);
  return std::nullopt;
}

// The install attribution as the C API hands it over: every key present, null for what is absent.
tavo::Value attributionValue(const std::shared_ptr<const tavo::TAVOInstallAttribution>& attribution) {
  using tavo::Dictionary;
  using tavo::Value;
  const auto optionalText = [](const std::optional<std::string>& s) { return s ? Value(*s) : Value(); };
  Dictionary out;
  out.set("status", attribution && attribution->status ? *attribution->status : Value());
  const auto campaign = attribution ? attribution->campaign : nullptr;
  if (!campaign) {
    out.set("campaign", Value());
    return Value(std::move(out));
  }
  Dictionary source;
  if (const auto& s = campaign->source) {
    source.set("id", s->id);
    source.set("name", optionalText(s->name));
    if (const auto& p = s->provider) {
      source.set("provider", Dictionary{{"id", p->id}, {"name", optionalText(p->name)}});
    } else {
      source.set("provider", Value());
    }
  }
  out.set("campaign", Dictionary{
                          {"id", campaign->id},
                          {"name", optionalText(campaign->name)},
                          {"click_params", campaign->clickParams ? Value(*campaign->clickParams) : Value()},
                          {"source", campaign->source ? Value(std::move(source)) : Value()},
                      });
  return Value(std::move(out));
}

// A call on a handle that is not there changes nothing, and says so.
bool present(const tavo_configuration* configuration) {
  if (!configuration) tavo::TAVOLogger::logAndType("Configuration ignored: no configuration", tavo::TAVOLogger::Plain);
  return configuration != nullptr;
}

bool present(const tavo_event_request* request) {
  if (!request) tavo::TAVOLogger::logAndType("Event request ignored: no request", tavo::TAVOLogger::Plain);
  return request != nullptr;
}

// A host's C callback as a URL handler of the application; none when the host passed none. A handler the
// host set takes every URL it is given.
std::function<bool(const std::string&)> urlHandler(void (*handler)(const char* url, void* user_data), void* user_data) {
  if (!handler) return nullptr;
  return [handler, user_data](const std::string& url) {
    handler(url.c_str(), user_data);
    return true;
  };
}

}  // namespace

extern "C" {

void tavo_platform_set_data_directory(const char* path) {
  guarded(__func__, [&] {
    if (!path || tavo::platform::Platform::isInstalled()) return;
    tavo::platform::Platform::install(tavo::platform::Platform::makeDefault(path));
  });
}

void tavo_platform_set_bundle_info(const char* short_version, const char* bundle_version, const char* display_name) {
  tavo::assertMainThread();
  guarded(__func__, [&] {
    auto& bundle = *tavo::platform::Platform::shared().bundle;
    if (short_version) bundle.setInfoValue("CFBundleShortVersionString", short_version);
    if (bundle_version) bundle.setInfoValue("CFBundleVersion", bundle_version);
    if (display_name) {
      bundle.setInfoValue("CFBundleDisplayName", display_name);
      bundle.setInfoValue("CFBundleName", display_name);
    }
  });
}

void tavo_platform_set_application_state(int state) {
  tavo::assertMainThread();
  guarded(__func__, [&] {
    if (state < 0 || state > 2) {
      tavo::TAVOLogger::logAndType("Application state ignored: expected 0, 1 or 2", tavo::TAVOLogger::Plain);
      return;
    }
    tavo::platform::Platform::shared().application->setApplicationState(
        static_cast<tavo::platform::Application::State>(state));
  });
}

void tavo_platform_set_log_handler(void (*handler)(const char* line, void* user_data), void* user_data) {
  tavo::assertMainThread();
  guarded(__func__, [&] {
    auto& log = *tavo::platform::Platform::shared().systemLog;
    if (!handler) {
      log.setHandler(nullptr);
      return;
    }
    log.setHandler([handler, user_data](const std::string& line) { handler(line.c_str(), user_data); });
  });
}

void tavo_platform_set_open_url_handler(void (*handler)(const char* url, void* user_data), void* user_data) {
  tavo::assertMainThread();
  guarded(__func__,
          [&] { tavo::platform::Platform::shared().application->setOpenURLHandler(urlHandler(handler, user_data)); });
}

void tavo_platform_set_continue_user_activity_handler(void (*handler)(const char* webpage_url, void* user_data),
                                                      void* user_data) {
  tavo::assertMainThread();
  guarded(__func__, [&] {
    tavo::platform::Platform::shared().application->setContinueUserActivityHandler(urlHandler(handler, user_data));
  });
}

char* tavo_platform_copy_cookies_json(void) {
  tavo::assertMainThread();
  return guarded(__func__, [&] {
    using tavo::Value;
    tavo::platform::Array list;
    for (const auto& cookie : tavo::platform::Platform::shared().cookieStorage->cookies()) {
      list.push_back(Value(tavo::Dictionary{
          {"name", Value(cookie.name)},
          {"value", Value(cookie.value)},
          {"domain", Value(cookie.domain)},
          {"path", Value(cookie.path)},
          {"version", Value(cookie.version)},
          {"expiry", cookie.expiresDate ? Value(cookie.expiresDate->timeIntervalSince1970()) : Value()},
      }));
    }
    return copy(tavo::platform::JSONSerialization::dataWithJSONObject(Value(std::move(list))).value_or("[]"));
  });
}

void tavo_main_loop_run_for(double seconds) {
  tavo::assertMainThread();
  guarded(__func__, [&] { tavo::platform::Platform::shared().mainLoop->runFor(seconds); });
}

void tavo_main_loop_run_pending(void) {
  tavo::assertMainThread();
  guarded(__func__, [&] { tavo::platform::Platform::shared().mainLoop->runPending(); });
}

void tavo_free(void* pointer) {
  guarded(__func__, [&] { std::free(pointer); });
}

tavo_configuration* tavo_configuration_new(const char* session_key) {
  return guarded(__func__, [&] {
    auto* handle = new tavo_configuration();
    handle->configuration.sessionKey = text(session_key);
    return handle;
  });
}

void tavo_configuration_free(tavo_configuration* configuration) {
  guarded(__func__, [&] { delete configuration; });
}

void tavo_configuration_set_debug_enabled(tavo_configuration* configuration, bool enabled) {
  guarded(__func__, [&] {
    if (present(configuration)) configuration->configuration.debugEnabled = enabled;
  });
}

void tavo_configuration_set_queue_time(tavo_configuration* configuration, int32_t seconds) {
  guarded(__func__, [&] {
    if (present(configuration)) configuration->configuration.queueTime = seconds;
  });
}

void tavo_configuration_set_url_base(tavo_configuration* configuration, const char* url) {
  guarded(__func__, [&] {
    if (present(configuration)) configuration->configuration.urlBase = text(url);
  });
}

void tavo_configuration_set_track_screen_events(tavo_configuration* configuration, bool track) {
  guarded(__func__, [&] {
    if (present(configuration)) configuration->configuration.trackScreenEvents = track;
  });
}

void tavo_configuration_set_apple_ads_attribution(tavo_configuration* configuration, bool enabled) {
  guarded(__func__, [&] {
    if (present(configuration)) configuration->configuration.appleAdsAttribution = enabled;
  });
}

void tavo_configuration_set_custom_quorvel_domains(tavo_configuration* configuration, const char* const* domains,
                                                   size_t count) {
  guarded(__func__, [&] {
    if (present(configuration)) configuration->configuration.customQuorvelDomains = list(domains, count);
  });
}

void tavo_configuration_set_short_quorvel_domains(tavo_configuration* configuration, const char* const* domains,
                                                  size_t count) {
  guarded(__func__, [&] {
    if (present(configuration)) configuration->configuration.shortQuorvelDomains = list(domains, count);
  });
}

const char* tavo_get_sdk_version(void) {
  return guarded(__func__, [&] {
    static const std::string version = TAVOLegacy::getSDKVersion();
    return version.c_str();
  });
}

int tavo_get_sdk_build_version(void) {
  return guarded(__func__, [&] { return TAVOLegacy::getSDKBuildVersion(); });
}

void tavo_start_session_with_configuration(const tavo_configuration* configuration) {
  guarded(__func__, [&] {
    if (!configuration) {
      tavo::TAVOLogger::logAndType("Start ignored: no configuration", tavo::TAVOLogger::Plain);
      return;
    }
    TAVOLegacy::startSessionWithConfiguration(configuration->configuration);
  });
}

void tavo_start_session_background(const tavo_configuration* configuration) {
  guarded(__func__, [&] {
    if (!configuration) {
      tavo::TAVOLogger::logAndType("Start ignored: no configuration", tavo::TAVOLogger::Plain);
      return;
    }
    TAVOLegacy::startSessionBackground(configuration->configuration);
  });
}

void tavo_start_session(const char* session_key) {
  guarded(__func__, [&] { TAVOLegacy::startSession(text(session_key)); });
}

bool tavo_is_session_started(void) {
  return guarded(__func__, [&] { return TAVOLegacy::isSessionStarted(); });
}

void tavo_set_debugger_output(bool enabled) {
  guarded(__func__, [&] { TAVOLegacy::setDebuggerOutput(enabled); });
}

void tavo_set_web_service_url(const char* url) {
  guarded(__func__, [&] { TAVOLegacy::setWebServiceURL(text(url)); });
}

void tavo_reset(void) {
  guarded(__func__, [&] { TAVOLegacy::reset(); });
}

char* tavo_device_id(void) {
  return guarded(__func__, [&] { return copy(TAVOLegacy::deviceId()); });
}

tavo_event_request* tavo_event_request_new(const char* token) {
  return guarded(__func__, [&] {
    auto* handle = new tavo_event_request();
    handle->request.token = token ? token : "";
    return handle;
  });
}

bool tavo_event_request_set_attributes_json(tavo_event_request* request, const char* json_object) {
  return guarded(__func__, [&] {
    if (!present(request) || !json_object) return false;
    const auto value = tavo::platform::JSONSerialization::JSONObjectWithData(json_object);
    if (!value || !value->isDictionary()) {
      tavo::TAVOLogger::logAndType("Event attributes ignored: not a JSON object", tavo::TAVOLogger::Plain);
      return false;
    }
    request->request.attributes = *value->asDictionary();
    return true;
  });
}

void tavo_event_request_set_custom_id(tavo_event_request* request, const char* custom_id) {
  guarded(__func__, [&] {
    if (present(request)) request->request.customId = text(custom_id);
  });
}

void tavo_event_request_set_delegate(tavo_event_request* request, const tavo_request_delegate* delegate) {
  guarded(__func__, [&] {
    if (!present(request)) return;
    if (!delegate) {
      request->delegate.reset();
      request->request.requestDelegate.reset();
      return;
    }
    const tavo_request_delegate callbacks = *delegate;
    auto wrapper = std::make_shared<tavo::TAVORequestDelegate>();
    if (callbacks.on_started)
      wrapper->onStarted = [callbacks](const std::string& id) {
        callbacks.on_started(id.c_str(), callbacks.user_data);
      };
    if (callbacks.on_success)
      wrapper->onSuccess = [callbacks](const std::string& id, bool containsData) {
        callbacks.on_success(id.c_str(), containsData, callbacks.user_data);
      };
    if (callbacks.on_failed)
      wrapper->onFailed = [callbacks](const std::string& id) { callbacks.on_failed(id.c_str(), callbacks.user_data); };
    request->delegate = wrapper;
    request->request.requestDelegate = wrapper;
  });
}

void tavo_event_request_free(tavo_event_request* request) {
  guarded(__func__, [&] { delete request; });
}

void tavo_track_event(const tavo_event_request* request) {
  guarded(__func__, [&] {
    if (!request) {
      tavo::TAVOLogger::logAndType("Event ignored: no request", tavo::TAVOLogger::Plain);
      return;
    }
    TAVOLegacy::trackEvent(request->request);
  });
}

void tavo_login_user(const char* user_id, const char* mail, const char* extras_json) {
  guarded(__func__, [&] { TAVOLegacy::loginUser(text(user_id), text(mail), dictionary(extras_json, "Login extras")); });
}

void tavo_login_default(void) {
  guarded(__func__, [&] { TAVOLegacy::loginDefault(); });
}

void tavo_register_user(const char* user_id, const char* mail, const char* extras_json) {
  guarded(__func__,
          [&] { TAVOLegacy::registerUser(text(user_id), text(mail), dictionary(extras_json, "Registration extras")); });
}

void tavo_track_extra_user_info(const char* info_json) {
  guarded(__func__, [&] { TAVOLegacy::trackExtraUserInfo(dictionary(info_json, "Extra user info")); });
}

void tavo_set_customer_id(const char* customer_id) {
  guarded(__func__, [&] { TAVOLegacy::setCustomerId(text(customer_id)); });
}

char* tavo_get_user_id(void) {
  return guarded(__func__, [&] {
    char* result = nullptr;
    TAVOLegacy::getUserId([&](std::optional<std::string> id) {
      if (id) result = copy(*id);
    });
    return result;
  });
}

char* tavo_get_user_info_json(void) {
  return guarded(__func__, [&] {
    std::string json = "{}";
    TAVOLegacy::getUserInfo([&](const tavo::Dictionary& info) {
      json = tavo::platform::JSONSerialization::dataWithJSONObject(tavo::Value(info)).value_or("{}");
    });
    return copy(json);
  });
}

void tavo_enable_user_tracking(void) {
  guarded(__func__, [&] { TAVOLegacy::enableUserTracking(); });
}

void tavo_disable_user_tracking(bool delete_user) {
  guarded(__func__, [&] { TAVOLegacy::disableUserTracking(delete_user); });
}

bool tavo_is_user_tracking_enabled(void) {
  return guarded(__func__, [&] { return TAVOLegacy::isUserTrackingEnabled(); });
}

void tavo_register_token(const uint8_t* bytes, size_t length) {
  guarded(__func__, [&] {
    if (!bytes && length > 0) {
      tavo::TAVOLogger::logAndType("Push token ignored: no bytes", tavo::TAVOLogger::Plain);
      return;
    }
    TAVOLegacy::registerToken(std::vector<uint8_t>(bytes, bytes + length));
  });
}

void tavo_start_order(const char* order_id, float total_price, const char* currency_code, const char* coupon,
                      const char* extras_json) {
  guarded(__func__, [&] {
    if (!order_id) {
      tavo::TAVOLogger::logAndType("Order ignored: no order id", tavo::TAVOLogger::Plain);
      return;
    }
    TAVOLegacy::startOrder(order_id, total_price, text(currency_code), text(coupon),
                           dictionary(extras_json, "Order extras"));
  });
}

void tavo_add_product(const char* product_id, const char* name, float qty, float price, const char* extras_json) {
  guarded(__func__, [&] {
    TAVOLegacy::addProduct(product_id ? product_id : "", name ? name : "", qty, price,
                           dictionary(extras_json, "Product extras"));
  });
}

void tavo_set_currency_code(const char* currency_code) {
  guarded(__func__, [&] { TAVOLegacy::setCurrencyCode(text(currency_code)); });
}

void tavo_track_order(void) {
  guarded(__func__, [&] { TAVOLegacy::trackOrder(); });
}

void tavo_cancel_order(const char* order_id) {
  guarded(__func__, [&] {
    if (!order_id) {
      tavo::TAVOLogger::logAndType("Cancel ignored: no order id", tavo::TAVOLogger::Plain);
      return;
    }
    TAVOLegacy::cancelOrder(order_id);
  });
}

void tavo_handle_link(const char* url) {
  guarded(__func__, [&] {
    if (!url) {
      tavo::TAVOLogger::logAndType("Link ignored: no URL", tavo::TAVOLogger::Plain);
      return;
    }
    TAVOLegacy::handleLink(std::string(url));
  });
}

void tavo_set_quorvel_domains(const char* const* domains, size_t count) {
  guarded(__func__,
          [&] { TAVOLegacy::setQuorvelDomains(domains ? std::optional(list(domains, count)) : std::nullopt); });
}

void tavo_set_short_quorvel_domains(const char* const* domains, size_t count) {
  guarded(__func__,
          [&] { TAVOLegacy::setShortQuorvelDomains(domains ? std::optional(list(domains, count)) : std::nullopt); });
}

void tavo_install_attribution_info(void (*callback)(const char* attribution_json, void* user_data), void* user_data) {
  guarded(__func__, [&] {
    if (!callback) {
      TAVOLegacy::installAttributionInfo(nullptr);
      return;
    }
    auto delegate = std::make_shared<tavo::TAVOInstallAttributionDelegate>();
    delegate->onAttributionReceived = [callback, user_data](const auto& attribution) {
      const auto json = tavo::platform::JSONSerialization::dataWithJSONObject(attributionValue(attribution));
      callback(json.value_or("null").c_str(), user_data);
    };
    TAVOLegacy::installAttributionInfo(delegate);
  });
}

void tavo_set_web_sdk_domain(const char* domain) {
  guarded(__func__, [&] { TAVOLegacy::setWebSDKDomain(text(domain)); });
}

void tavo_sync_with_web_sdk(void) {
  guarded(__func__, [&] { TAVOLegacy::syncWithWebSDK(); });
}

}  // extern "C"
