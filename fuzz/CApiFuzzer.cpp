// The whole C interface, called in an order the input chooses, with every string, JSON text, number and byte
// buffer taken from the input, as a host in another language might call it. No call may crash, leak or throw
// out; the JSON the interface hands back must parse; the cookie file must stay JSON; and when the web service
// refuses, every parked request must be read back whole after a restart.
//
// Input: one byte of settings (bit 7: the web service answers 500), then calls: an opcode byte, then the
// arguments that call reads (see FuzzInput: texts end at a NUL, the text "\x01" is NULL).

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "FuzzEnvironment.h"
#include "FuzzInput.h"
#include "core/TAVOController.h"
#include "core/TAVOLogger.h"
#include "network/TAVORequestController.h"
#include "platform/JSONSerialization.h"
#include "tavo/tavo.h"

namespace {

using tavo::fuzzing::FuzzInput;

constexpr int kMaxCalls = 64;

[[noreturn]] void broken(const char* what, const std::string& text) {
  std::fprintf(stderr, "%s: %s\n", what, text.c_str());
  std::abort();
}

// JSON the interface returned must be JSON of the promised kind; the string is released.
void expectJSON(char* json, const char* what, tavo::platform::Value::Type type) {
  if (!json) return;
  const std::string text(json);
  tavo_free(json);
  const auto value = tavo::platform::JSONSerialization::JSONObjectWithData(text);
  if (!value || value->type() != type) broken(what, text);
}

void onStarted(const char* id, void*) { (void)std::string(id); }
void onSuccess(const char* id, bool, void*) { (void)std::string(id); }
void onURL(const char* url, void*) { (void)std::string(url); }
void onLine(const char* line, void*) { (void)std::string(line); }
void onAttribution(const char* json, void*) {
  if (!tavo::platform::JSONSerialization::JSONObjectWithData(json)) broken("install attribution is not JSON", json);
}

// Texts as a C list; a NULL list when the input says so.
class TextList {
 public:
  explicit TextList(FuzzInput& in) {
    isNull_ = in.byte() == 0xFF;
    const int count = in.byte() % 4;
    for (int i = 0; i < count; ++i) texts_.push_back(in.maybeText());
    for (const auto& text : texts_) pointers_.push_back(text ? text->c_str() : nullptr);
  }
  const char* const* items() const { return isNull_ ? nullptr : pointers_.data(); }
  size_t count() const { return pointers_.size(); }

 private:
  bool isNull_ = false;
  std::vector<std::optional<std::string>> texts_;
  std::vector<const char*> pointers_;
};

const char* c(const std::optional<std::string>& text) { return text ? text->c_str() : nullptr; }

// The host's state of one input: the handles it holds.
class Host {
 public:
  ~Host() {
    tavo_configuration_free(configuration_);
    tavo_event_request_free(request_);
  }

  void call(FuzzInput& in) {
    switch (in.byte() % 36) {
      case 0: tavo_configuration_free(std::exchange(configuration_, tavo_configuration_new(c(in.maybeText())))); break;
      case 1: configure(in); break;
      case 2: tavo_configuration_free(std::exchange(configuration_, nullptr)); break;
      case 3:
        in.flag() ? tavo_start_session_with_configuration(configuration_)
                  : tavo_start_session_background(configuration_);
        break;
      case 4: tavo_start_session(c(in.maybeText())); break;
      case 5: tavo_event_request_free(std::exchange(request_, tavo_event_request_new(c(in.maybeText())))); break;
      case 6: tavo_event_request_set_attributes_json(request_, c(in.maybeText())); break;
      case 7: tavo_event_request_set_custom_id(request_, c(in.maybeText())); break;
      case 8: {
        const tavo_request_delegate delegate{onStarted, onSuccess, onStarted, nullptr};
        tavo_event_request_set_delegate(request_, in.flag() ? &delegate : nullptr);
        break;
      }
      case 9: tavo_track_event(request_); break;
      case 10: tavo_event_request_free(std::exchange(request_, nullptr)); break;
      case 11: {
        const auto id = in.maybeText(), mail = in.maybeText(), extras = in.maybeText();
        in.flag() ? tavo_login_user(c(id), c(mail), c(extras)) : tavo_register_user(c(id), c(mail), c(extras));
        break;
      }
      case 12: tavo_login_default(); break;
      case 13: tavo_track_extra_user_info(c(in.maybeText())); break;
      case 14: tavo_set_customer_id(c(in.maybeText())); break;
      case 15: tavo_free(tavo_get_user_id()); break;
      case 16: expectJSON(tavo_get_user_info_json(), "user info", tavo::platform::Value::Type::Dictionary); break;
      case 17: {
        const std::uint8_t choice = in.byte();
        if (choice % 3 == 0) tavo_enable_user_tracking();
        if (choice % 3 == 1) tavo_disable_user_tracking(choice & 0x80);
        (void)tavo_is_user_tracking_enabled();
        break;
      }
      case 18: {
        const auto token = in.bytes();
        tavo_register_token(token.empty() && in.flag() ? nullptr : token.data(), token.size());
        break;
      }
      case 19: {
        const auto id = in.maybeText(), currency = in.maybeText(), coupon = in.maybeText(), extras = in.maybeText();
        tavo_start_order(c(id), static_cast<float>(in.number()), c(currency), c(coupon), c(extras));
        break;
      }
      case 20: {
        const auto id = in.maybeText(), name = in.maybeText(), extras = in.maybeText();
        const float quantity = static_cast<float>(in.number()), price = static_cast<float>(in.number());
        tavo_add_product(c(id), c(name), quantity, price, c(extras));
        break;
      }
      case 21: tavo_set_currency_code(c(in.maybeText())); break;
      case 22: tavo_track_order(); break;
      case 23: tavo_cancel_order(c(in.maybeText())); break;
      case 24: tavo_handle_link(c(in.maybeText())); break;
      case 25: {
        const TextList domains(in);
        in.flag() ? tavo_set_quorvel_domains(domains.items(), domains.count())
                  : tavo_set_short_quorvel_domains(domains.items(), domains.count());
        break;
      }
      case 26: tavo_install_attribution_info(in.flag() ? onAttribution : nullptr, nullptr); break;
      case 27: tavo_set_web_sdk_domain(c(in.maybeText())); break;
      case 28: tavo_sync_with_web_sdk(); break;
      case 29: tavo_set_debugger_output(in.flag()); break;
      case 30: tavo_set_web_service_url(c(in.maybeText())); break;
      case 31: tavo_reset(); break;
      case 32: tavo_free(tavo_device_id()); break;
      case 33: platform(in); break;
      case 34: expectJSON(tavo_platform_copy_cookies_json(), "cookies", tavo::platform::Value::Type::Array); break;
      default:
        (void)tavo_is_session_started();
        (void)std::string(tavo_get_sdk_version());
        (void)tavo_get_sdk_build_version();
        break;
    }
  }

  bool changedLogHandler() const { return changedLogHandler_; }

 private:
  void configure(FuzzInput& in) {
    switch (in.byte() % 6) {
      case 0: tavo_configuration_set_debug_enabled(configuration_, in.flag()); break;
      case 1: tavo_configuration_set_queue_time(configuration_, in.int32()); break;
      case 2: tavo_configuration_set_url_base(configuration_, c(in.maybeText())); break;
      case 3: tavo_configuration_set_track_screen_events(configuration_, in.flag()); break;
      case 4: tavo_configuration_set_apple_ads_attribution(configuration_, in.flag()); break;
      default: {
        const TextList domains(in);
        in.flag() ? tavo_configuration_set_custom_quorvel_domains(configuration_, domains.items(), domains.count())
                  : tavo_configuration_set_short_quorvel_domains(configuration_, domains.items(), domains.count());
      }
    }
  }

  void platform(FuzzInput& in) {
    switch (in.byte() % 7) {
      case 0: {
        const auto version = in.maybeText(), build = in.maybeText(), name = in.maybeText();
        tavo_platform_set_bundle_info(c(version), c(build), c(name));
        break;
      }
      case 1: tavo_platform_set_application_state(static_cast<int>(in.byte() % 5) - 1); break;
      case 2:
        tavo_platform_set_log_handler(in.flag() ? onLine : nullptr, nullptr);
        changedLogHandler_ = true;
        break;
      case 3: tavo_platform_set_open_url_handler(in.flag() ? onURL : nullptr, nullptr); break;
      case 4: tavo_platform_set_continue_user_activity_handler(in.flag() ? onURL : nullptr, nullptr); break;
      case 5: {
        // The main loop runs on the manual clock: a host's "forever" would be forever here too.
        const double seconds = in.number();
        tavo_main_loop_run_for(std::isinf(seconds) ? -std::fabs(seconds) : std::min(seconds, 3600.0));
        break;
      }
      default: tavo_main_loop_run_pending(); break;
    }
  }

  tavo_configuration* configuration_ = nullptr;
  tavo_event_request* request_ = nullptr;
  bool changedLogHandler_ = false;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  auto& environment = tavo::fuzzing::FuzzEnvironment::shared();
  FuzzInput in(data, size);
  const bool refused = (in.byte() & 0x80) != 0;
  // What a previous input may have changed outside the controller's life.
  tavo_platform_set_application_state(0);
  tavo_platform_set_open_url_handler(nullptr, nullptr);
  tavo_platform_set_continue_user_activity_handler(nullptr, nullptr);
  tavo::TAVOLogger::sharedLogger().setLogLevel(tavo::TAVOLogger::kDebugMask);
  environment.beginInput();
  if (refused)
    environment.http().setResponder(
        [](const tavo::platform::HttpRequest&) { return tavo::platform::FakeHttpClient::Answer::status(500, "500"); });

  {
    Host host;
    for (int calls = 0; calls < kMaxCalls && !in.empty(); ++calls) host.call(in);
    if (host.changedLogHandler()) environment.captureLog();
  }
  if (auto requests = tavo::TAVOController::sharedInstance().requestController()) requests->sendOperations();
  environment.finishInput();
  expectJSON(tavo_platform_copy_cookies_json(), "cookies", tavo::platform::Value::Type::Array);
  environment.expectCookieFileIsJSON();

  if (refused) environment.restartKeepingParkedRequests();
  return 0;
}
