// Arbitrary values where the SDK keeps its state (an old version's layout, a damaged or tampered store):
// written raw into the platform's user defaults under the SDK's own keys, then read the way a restarted SDK
// reads them: the controller's start (user, session data, parked requests) and every typed read after it.
// Reading a key twice must give the same value twice.
//
// Input: records of [key][kind][length, 2 bytes little-endian][bytes]. The key byte picks one of the store's
// allowed keys; the kind says how the bytes are stored: 0 as data (where archives live), 1 as the property
// list they parse to (a plain value of an earlier version), 2 as a string, 3 as a 64-bit integer.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <string>

#include "FuzzEnvironment.h"
#include "ValueChecks.h"
#include "attribution/TAVOAttributionController.h"
#include "core/TAVOController.h"
#include "core/TAVODeviceController.h"
#include "core/TAVOSessionController.h"
#include "network/TAVORequestController.h"
#include "persistence/TAVODataStoreController.h"
#include "platform/PropertyListSerialization.h"
#include "tracking/TAVOUserController.h"

namespace {

using namespace tavo;
using platform::Value;

std::optional<Value> storedForm(std::uint8_t kind, const platform::Data& bytes) {
  switch (kind % 4) {
    case 0: return Value(bytes);
    case 1: return platform::PropertyListSerialization::propertyListWithData(bytes);
    case 2: return Value(std::string(bytes.begin(), bytes.end()));
    default: {
      long long number = 0;
      if (!bytes.empty()) std::memcpy(&number, bytes.data(), std::min(bytes.size(), sizeof number));
      return Value(number);
    }
  }
}

void writeRecords(const std::uint8_t* data, std::size_t size, platform::UserDefaults& defaults) {
  const auto& keys = TAVODataStoreController().allowedKeys();
  std::size_t at = 0;
  while (at + 4 <= size) {
    const std::string& key = keys[data[at] % keys.size()];
    const std::uint8_t kind = data[at + 1];
    const std::size_t length = std::min<std::size_t>(data[at + 2] | (data[at + 3] << 8), size - at - 4);
    const platform::Data bytes(data + at + 4, data + at + 4 + length);
    at += 4 + length;
    // A write the store refuses leaves the key as it was: still an input worth reading back.
    if (auto value = storedForm(kind, bytes)) static_cast<void>(defaults.setObject(*value, key));
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  auto& environment = fuzzing::FuzzEnvironment::shared();
  static const auto attributionDelegate = [] {
    auto delegate = std::make_shared<TAVOInstallAttributionDelegate>();
    delegate->onAttributionReceived = [](const std::shared_ptr<const TAVOInstallAttribution>& attribution) {
      if (attribution && attribution->campaign) (void)attribution->campaign->clickParams;
    };
    return delegate;
  }();
  environment.beginInput();
  writeRecords(data, size, *environment.platform().userDefaults);

  // A start over this store: the saved user, the session data and the parked requests are read here.
  environment.restartController();
  auto& controller = TAVOController::sharedInstance();
  auto store = controller.dataStoreController();

  for (const auto& key : store->allowedKeys()) {
    // A read leaves the key in today's form (archived, or removed when it cannot be read): the next read
    // finds what the first one returned.
    const auto first = store->getObjectFromDataStore(key);
    const auto second = store->getObjectFromDataStore(key);
    if (first.has_value() != second.has_value() ||
        (first && fuzzing::ValueChecks::keepsExactly(*first) && !fuzzing::ValueChecks::sameContent(*first, *second))) {
      std::fprintf(stderr, "%s read back differently:\n%s\n--- then ---\n%s\n", key.c_str(),
                   first ? first->description().c_str() : "nil", second ? second->description().c_str() : "nil");
      std::abort();
    }
  }
  (void)controller.deviceController()->deviceUUID();
  (void)controller.userController()->prepareUserInfo();
  (void)TAVOUserController::isUserTrackingDisabled();
  (void)controller.sessionController()->getAverageSessionTime();
  (void)controller.sessionController()->isFirstSession();
  controller.attributionController()->migrateAttributionCampaignIfNeeded();
  controller.userController()->installAttributionInfo(attributionDelegate);
  // An event carries the open campaigns (and purges the expired ones); the parked requests go out again.
  controller.sendEvent("fuzz_event", platform::Dictionary{{"n", 1}}, false);
  controller.requestController()->sendOperations();
  controller.requestController()->repeatPendingRequests();
  environment.finishInput();
  return 0;
}
