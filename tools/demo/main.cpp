// tavo-demo: starts the SDK's core on this machine, with no web service, and prints what it did.
// The full user journey against the local emulator replaces this once the network and tracking exist.
//
//   tavo-demo [--data DIR]    keep the SDK's state in DIR (default: a temporary directory, removed after)

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <string>

#include "core/SecurityController.h"
#include "core/TAVOController.h"
#include "core/TAVODeviceController.h"
#include "core/TAVOLogger.h"
#include "persistence/TAVODataStoreController.h"
#include "platform/JSONSerialization.h"
#include "platform/Platform.h"
#include "tracking/TAVOUser.h"
#include "tracking/TAVOUserController.h"

namespace {

void step(const std::string& what) { std::cout << "\n== " << what << "\n"; }
void fact(const std::string& name, const std::string& value) {
  std::cout << "  " << name << std::string(name.size() < 22 ? 22 - name.size() : 1, ' ') << value << "\n";
}

}  // namespace

int main(int argc, char** argv) {
  namespace fs = std::filesystem;
  std::string dataDirectory;
  bool temporary = false;
  for (int i = 1; i < argc; ++i) {
    const std::string arg = argv[i];
    if (arg == "--data" && i + 1 < argc) {
      dataDirectory = argv[++i];
    } else {
      std::cerr << "usage: tavo-demo [--data DIR]\n";
      return 2;
    }
  }
  if (dataDirectory.empty()) {
    std::string pattern = (fs::temp_directory_path() / "tavo-demo-XXXXXX").string();
    if (!mkdtemp(pattern.data())) {
      std::perror("mkdtemp");
      return 1;
    }
    dataDirectory = pattern;
    temporary = true;
  }

  using namespace tavo;
  auto platform = platform::Platform::makeDefault(dataDirectory);
  platform->bundle->setInfoValue("CFBundleShortVersionString", "1.0.0");
  platform->bundle->setInfoValue("CFBundleVersion", "100");
  platform->systemLog->setHandler([](const std::string& line) { std::cout << "  [log] " << line << "\n"; });
  platform::Platform::install(platform);

  step("Host turns on debug output and the SDK's shared controller is created");
  TAVOLogger::sharedLogger().setLogLevel(TAVOLogger::kDebugMask);
  auto& controller = TAVOController::sharedInstance();
  fact("data directory", dataDirectory);
  fact("connection status", std::to_string(controller.connectionStatus()));
  fact("app version", controller.appVersion());

  step("Credentials are split from the session key");
  const std::string sessionKey = "demoapplicationABC123XYZ";
  controller.generateApiKeyAndApiUserFrom(sessionKey);
  fact("session key", sessionKey);
  fact("apiUser", controller.apiUser().value_or("(unset)"));
  fact("apiKey", controller.apiKey().value_or("(unset)"));

  step("Device facts every payload carries");
  auto device = controller.deviceController();
  fact("installation id", device->deviceUUID());
  fact("vendor id", device->vendorId().value_or("(none)"));
  fact("advertising id", device->idfa().value_or("(none: tracking not granted)"));
  fact("model", device->deviceModel());
  fact("OS build", device->deviceBuild().value_or("(unknown)"));
  fact("firmware", device->deviceFirmware());
  fact("locale", device->currentLocale());
  fact("time zone", device->timeZoneName());

  step("The current user and the common parameters of a payload");
  auto user = controller.currentUser();
  fact("user is new", user && user->isNew ? "yes" : "no");
  const auto common = platform::JSONSerialization::dataWithJSONObjectPretty(
      platform::Value(controller.userController()->basicUserInfo()));
  std::cout << common.value_or("(not serialisable)") << "\n";

  step("What the data store holds now");
  auto store = controller.dataStoreController();
  int present = 0;
  for (const auto& key : store->allowedKeys()) {
    if (auto value = platform->userDefaults->objectForKey(key)) {
      ++present;
      fact(key, value->asData() ? std::to_string(value->asData()->size()) + " bytes, archived" : value->description());
    }
  }
  fact("keys in use", std::to_string(present) + " of " + std::to_string(store->allowedKeys().size()));

  step("A URL check of in-app content");
  auto security = controller.securityController();
  security->setWhitelist(std::vector<std::string>{"https://shop.example/"});
  for (const char* url : {"https://shop.example/offer", "https://evil.example/", "https://tavo.example/page"})
    fact(url, security->urlInWhiteList(std::string(url)) ? "allowed" : "refused");

  std::cout << "\nDone: the SDK core started without a web service; nothing was sent.\n";
  platform::Platform::install(nullptr);
  platform.reset();
  if (temporary) fs::remove_all(dataDirectory);
  return 0;
}
