// JSON text and plain strings from a host through the C API: event attributes, login, registration and
// extra-user-info extras, order and product extras, with the token, ids and names beside them. What was
// accepted is built into payloads, serialised and sent; when the web service refuses, the requests are parked
// in the store, and a restart must read every one of them back whole.
//
// Input: [selector][JSON text][NUL][string]. The selector's low bits pick the entry point; its high bit makes
// the web service answer 500.

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include "FuzzEnvironment.h"
#include "core/TAVOController.h"
#include "network/TAVORequestController.h"
#include "tavo/tavo.h"

namespace {

void ignoreId(const char* id, void*) { (void)std::strlen(id); }
void ignoreSuccess(const char* id, bool, void*) { (void)std::strlen(id); }

void track(const char* json, const char* name) {
  tavo_event_request* request = tavo_event_request_new(name);
  tavo_event_request_set_attributes_json(request, json);
  tavo_event_request_set_custom_id(request, name);
  const tavo_request_delegate delegate{ignoreId, ignoreSuccess, ignoreId, nullptr};
  tavo_event_request_set_delegate(request, &delegate);
  tavo_track_event(request);
  tavo_event_request_free(request);
}

void order(const char* json, const char* name) {
  tavo_set_customer_id(name);
  tavo_start_order(name, 19.5f, "EUR", name, json);
  tavo_add_product(name, name, 2.0f, 9.75f, json);
  tavo_track_order();
  tavo_cancel_order(name);
}

void profile(const char* json, const char* name) {
  tavo_track_extra_user_info(json);
  tavo_set_customer_id(name);
  tavo_login_default();
  tavo_free(tavo_get_user_info_json());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const std::uint8_t selector = data[0];
  // The C API reads C strings: everything up to a NUL.
  const std::string rest(reinterpret_cast<const char*>(data) + 1, size - 1);
  const std::string json = rest.substr(0, rest.find('\0'));
  const std::string name = json.size() < rest.size() ? rest.substr(json.size() + 1).c_str() : std::string();
  const bool refused = (selector & 0x80) != 0;

  auto& environment = tavo::fuzzing::FuzzEnvironment::shared();
  environment.beginInput();
  if (refused)
    environment.http().setResponder(
        [](const tavo::platform::HttpRequest&) { return tavo::platform::FakeHttpClient::Answer::status(500, "500"); });

  switch (selector % 6) {
    case 0: track(json.c_str(), name.c_str()); break;
    case 1: tavo_login_user(name.c_str(), "ana@example.com", json.c_str()); break;
    case 2: tavo_register_user(name.c_str(), name.c_str(), json.c_str()); break;
    case 3: tavo_track_extra_user_info(json.c_str()); break;
    case 4: order(json.c_str(), name.c_str()); break;
    default: profile(json.c_str(), name.c_str()); break;
  }
  auto& controller = tavo::TAVOController::sharedInstance();
  controller.requestController()->sendOperations();
  environment.finishInput();

  if (refused) environment.restartKeepingParkedRequests();
  return 0;
}
