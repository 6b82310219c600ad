// The emulator's readers of what reaches it from outside: a fixtures file, and each request on its socket
// (action, header fields, body) through the decoder, the answers, the recorder and its pages. Fixtures are
// accepted or refused with a std::runtime_error; a request never throws, is answered with JSON wherever the
// answer says so, reads back from the recorder as it was recorded, and shows on both pages.
//
// Input: [settings byte][fixtures JSON, when bit 0 is set][NUL][action][NUL][header count byte]
// [name NUL value NUL]...[body: the rest].

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "FuzzInput.h"
#include "emulator/EmulatorFixtures.h"
#include "emulator/InAppLedger.h"
#include "emulator/RequestDecoder.h"
#include "emulator/RequestPage.h"
#include "emulator/RequestRecorder.h"
#include "emulator/SqliteDatabase.h"
#include "emulator/UserRegistry.h"
#include "emulator/WebServiceResponder.h"

namespace {

using namespace tavo::emulator;
using json = nlohmann::ordered_json;

[[noreturn]] void broken(const char* what, const std::string& detail) {
  std::fprintf(stderr, "%s:\n%s\n", what, detail.c_str());
  std::abort();
}

std::string shown(const RecordedRequest& request) {
  return request.toJSON().dump(-1, ' ', false, json::error_handler_t::replace);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  tavo::fuzzing::FuzzInput in(data, size);
  const std::uint8_t settings = in.byte();
  const std::string fixturesText = in.text();
  std::optional<EmulatorFixtures> fixtures;
  if (settings & 1) {
    try {
      fixtures = EmulatorFixtures::fromJSON(fixturesText);
    } catch (const std::runtime_error&) {
      return 0;  // refused with a reason, as main() reports it
    }
  } else {
    fixtures = EmulatorFixtures::defaults();
  }

  std::string action = in.text();
  std::vector<std::pair<std::string, std::string>> headers(in.byte() % 8);
  for (auto& [name, value] : headers) {
    name = in.text();
    value = in.text();
  }
  std::string body;
  while (!in.empty()) body += static_cast<char>(in.byte());

  const auto database = std::make_shared<SqliteDatabase>(":memory:");
  UserRegistry users(database);
  RequestRecorder recorder(database);
  const WebServiceResponder responder(*fixtures, users, "http://127.0.0.1:1");

  RecordedRequest request = RequestDecoder::decode(std::move(action), std::move(headers), std::move(body));
  const WebServiceResponder::Answer answer = responder.answer(request);
  if (answer.contentType == "application/json" && !json::accept(answer.body)) broken("answer is not JSON", answer.body);
  request.answerStatus = answer.httpStatus;
  request.answerBody = answer.body;
  recorder.record(request);
  InAppLedger ledger;
  ledger.record(request);
  if (!json::accept(ledger.toJSON().dump())) broken("the in-app tally is not JSON", shown(request));

  const auto recorded = recorder.requests();
  if (recorded.size() != 1 || shown(recorded[0]) != shown(request))
    broken("the recorder changed the request", shown(request));
  (void)RequestPage::html(recorded, 1, "http://127.0.0.1:1/ws/", json::object(), ledger.entries());
  const std::string page = RequestPage::json(recorded, 1);
  if (!json::accept(page)) broken("the JSON page is not JSON", page);
  return 0;
}
