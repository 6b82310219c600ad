// Answer bodies from a hostile or broken web service, read through the path every real answer takes: the
// request controller's processRequestResponse (handler, retry or park, store) for requests of each kind of
// answer the SDK reads; a request parked on the way must come back whole after a restart. The first byte picks
// the request, the rest is the body.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "FuzzEnvironment.h"
#include "attribution/TAVOInstallAttributionRequest.h"
#include "attribution/TAVOShortTrackingUrl.h"
#include "core/TAVOController.h"
#include "network/TAVOOperation.h"
#include "network/TAVORequest.h"
#include "network/TAVORequestController.h"
#include "network/TAVOResetUser.h"
#include "network/TAVOUpdateUser.h"
#include "tavo/TAVOEventRequest.h"
#include "tracking/TAVOEvent.h"
#include "tracking/TAVOOrder.h"
#include "tracking/TAVOTrackOrder.h"
#include "tracking/TAVOUserController.h"

namespace {

using namespace tavo;

std::shared_ptr<TAVOOperation> withId(std::shared_ptr<TAVOTransmitObject> payload, const char* id) {
  auto operation = TAVOOperation::operationWithTransmitObject(std::move(payload));
  // Fixed ids, so that the seed answers can name each operation.
  operation->operationId = id;
  return operation;
}

std::shared_ptr<TAVOOperation> event(const std::string& token, const char* id, bool rule,
                                     const std::shared_ptr<TAVORequestDelegate>& delegate,
                                     std::optional<platform::Dictionary> attributes = std::nullopt) {
  TAVOEventRequest request(token);
  request.attributes = std::move(attributes);
  request.requestDelegate = delegate;
  auto payload = std::make_shared<TAVOEvent>();
  payload->initWithRequest(request);
  if (rule) payload->checkForRules();
  return withId(payload, id);
}

// Every request shape, built once; a handled request is given back its operations and retry count before the
// next input, since failures shorten the one and raise the other.
struct Requests {
  struct Entry {
    std::shared_ptr<TAVORequest> request;
    std::vector<std::shared_ptr<TAVOOperation>> operations;
  };
  std::shared_ptr<TAVORequestDelegate> delegate = std::make_shared<TAVORequestDelegate>();
  std::shared_ptr<TAVOInstallAttributionDelegate> attributionDelegate =
      std::make_shared<TAVOInstallAttributionDelegate>();
  std::vector<Entry> entries;

  Requests() {
    delegate->onStarted = [](const std::string& id) { (void)id.size(); };
    delegate->onSuccess = [](const std::string& id, bool) { (void)id.size(); };
    delegate->onFailed = [](const std::string& id) { (void)id.size(); };
    attributionDelegate->onAttributionReceived = [](const std::shared_ptr<const TAVOInstallAttribution>& a) {
      if (a && a->campaign && a->campaign->source && a->campaign->source->provider)
        (void)a->campaign->source->provider->name;
    };

    auto retrieving = std::make_shared<TAVOUpdateUser>();
    retrieving->initWithExtras(platform::Dictionary{{"tier", "gold"}}, true);
    auto plainUpdate = std::make_shared<TAVOUpdateUser>();
    plainUpdate->initWithExtras(std::nullopt, false);
    auto attribution = std::make_shared<TAVOInstallAttributionRequest>();
    attribution->init();
    auto shortLink = std::make_shared<TAVOShortTrackingUrl>();
    shortLink->initWithId("abc", "go.tavo.link");
    auto reset = std::make_shared<TAVOResetUser>();
    reset->init();
    auto order = TAVOOrder::initOrderWithId("order-1", "customer-1", 19.5f, "EUR", std::nullopt,
                                            platform::Dictionary{{"gift", true}});
    order->addProduct(TAVOProduct::initProductWithId("sku-1", "Socks", 9.75f, 2.0f, std::nullopt));
    auto trackOrder = std::make_shared<TAVOTrackOrder>();
    trackOrder->initWithOrder(order);

    const auto click = event("tavo_auto_event", "click", false, delegate,
                             platform::Dictionary{{"e_attribution_type", "e_click_engagement"}});
    const std::vector<std::shared_ptr<TAVOOperation>> mixed = {
        event("level_up", "e1", false, delegate, platform::Dictionary{{"level", 3}}),
        event("tavo_start_session", "start", true, delegate),
        withId(attribution, "attr"),
        withId(shortLink, "stu"),
        withId(reset, "reset"),
        click,
        event("purchase", "e2", false, delegate),
    };
    add(TAVORequest::requestWithOperations(mixed), mixed);
    // A user-data operation reads the whole answer and ends the batch there.
    const std::vector<std::shared_ptr<TAVOOperation>> withUser = {mixed[0], withId(retrieving, "user"), mixed[1]};
    add(TAVORequest::requestWithOperations(withUser), withUser);
    add(TAVORequest::requestWithUpdateUser(retrieving), {});
    add(TAVORequest::requestWithUpdateUser(plainUpdate), {});
    add(TAVORequest::requestWithTrackOrder(trackOrder), {});
  }

  void add(std::shared_ptr<TAVORequest> request, std::vector<std::shared_ptr<TAVOOperation>> operations) {
    entries.push_back({std::move(request), std::move(operations)});
  }

  const std::shared_ptr<TAVORequest>& restored(std::size_t index) {
    Entry& entry = entries[index % entries.size()];
    entry.request->setRetriedTimes(0);
    if (!entry.operations.empty()) entry.request->setOperations(entry.operations);
    return entry.request;
  }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  auto& environment = fuzzing::FuzzEnvironment::shared();
  static Requests requests;
  environment.beginInput();

  auto& controller = TAVOController::sharedInstance();
  // The host asked for its install attribution; that request is answered before the fuzzed one is read.
  controller.userController()->installAttributionInfo(requests.attributionDelegate);
  environment.finishInput();
  environment.platform().application->setContinueUserActivityHandler(
      [](const std::string& url) { return !url.empty(); });

  platform::HttpResponse response;
  response.statusCode = 200;
  response.body.assign(reinterpret_cast<const char*>(data) + 1, size - 1);
  controller.requestController()->processRequestResponse(response, requests.restored(data[0]), std::nullopt);
  environment.finishInput();
  // A refused or unreadable answer parks the request; a restart must find it as it was parked.
  environment.restartKeepingParkedRequests();
  return 0;
}
