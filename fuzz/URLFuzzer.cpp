// Arbitrary text as a URL: first the platform's URL parser on its own, with the properties its callers rely
// on; then the whole path of a link that opened the app (TAVOLegacy::handleLink): short-link resolve,
// attribution parameters and campaigns, qrvact/qrvval actions, and the requests these send.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "FuzzEnvironment.h"
#include "attribution/TAVOAttributionController.h"
#include "core/TAVOController.h"
#include "core/TAVOUtils.h"
#include "network/TAVORequestController.h"
#include "platform/URLComponents.h"
#include "tavo/TAVO.h"

namespace {

using tavo::platform::URLComponents;

[[noreturn]] void fail(const char* what, const std::string& text) {
  std::fprintf(stderr, "URLComponents: %s for \"%s\"\n", what, text.c_str());
  std::abort();
}

void checkParts(const std::string& text) {
  const auto url = URLComponents::fromString(text);
  if (!url) return;
  if (url->string() != text) fail("string() is not the parsed text", text);
  (void)url->user(), (void)url->password(), (void)url->host(), (void)url->port(), (void)url->path();
  (void)url->query(), (void)url->fragment(), (void)url->lastPathComponent();
  // Every "&" of the query separates two items.
  if (const auto& query = url->percentEncodedQuery(); query && !query->empty()) {
    const auto items = url->queryItems();
    const auto pieces = static_cast<std::size_t>(std::count(query->begin(), query->end(), '&')) + 1;
    if (!items || items->size() != pieces) fail("query items do not match the query", text);
  }
  // A parsed URL's parts were checked on the way in: each decodes.
  if (url->percentEncodedQuery() && !url->query()) fail("a parsed query does not decode", text);
  if (url->percentEncodedFragment() && !url->fragment()) fail("a parsed fragment does not decode", text);
  if (url->percentEncodedHost() && !url->host()) fail("a parsed host does not decode", text);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  checkParts(text);

  auto& environment = tavo::fuzzing::FuzzEnvironment::shared();
  environment.beginInput();
  auto& controller = tavo::TAVOController::sharedInstance();
  controller.attributionController()->setCustomQuorvelDomains(std::vector<std::string>{"links.shop.example"});
  environment.platform().application->setOpenURLHandler([](const std::string& url) { return !url.empty(); });

  (void)tavo::TAVOUtils::isWebAddress(text);
  tavo::TAVOLegacy::handleLink(text);
  // The same link twice updates the campaign it stored; an event then carries the campaigns still open.
  tavo::TAVOLegacy::handleLink(text);
  controller.sendEvent("after_link", std::nullopt, false);
  controller.requestController()->sendOperations();
  environment.finishInput();
  return 0;
}
