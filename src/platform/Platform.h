#pragma once

#include <memory>
#include <string>

#include "platform/AdAttributionClient.h"
#include "platform/Application.h"
#include "platform/Bundle.h"
#include "platform/Clock.h"
#include "platform/CookieStorage.h"
#include "platform/Device.h"
#include "platform/FileSystem.h"
#include "platform/HttpClient.h"
#include "platform/Locale.h"
#include "platform/MainLoop.h"
#include "platform/NotificationCenter.h"
#include "platform/OperationQueue.h"
#include "platform/SystemLog.h"
#include "platform/TimeZone.h"
#include "platform/UserDefaults.h"

namespace tavo::platform {

namespace ui {
class UserInterface;
}

// The services the SDK takes from the platform, gathered in one object. The SDK reaches them through
// Platform::shared(); a host (or a test) installs its own before the SDK starts, otherwise the first use
// installs the Linux defaults in the default data directory.
class Platform {
 public:
  // The Linux services with the store and Documents under dataDirectory and the machine's clock.
  static std::shared_ptr<Platform> makeDefault(const std::string& dataDirectory);
  // The services every platform has, over the given clock, files and store (the cookies go to files); the
  // HTTP client is left for the caller to choose.
  static std::shared_ptr<Platform> makeWith(std::shared_ptr<Clock> clock, std::shared_ptr<FileSystem> fileSystem,
                                            std::shared_ptr<UserDefaults> userDefaults);

  // The installed platform; installs makeDefault(DiskFileSystem::defaultDataDirectory("tavo")) on first use.
  static Platform& shared();
  static bool isInstalled();
  // Replaces the installed platform. Call before the SDK starts, or between tests, while no SDK thread runs.
  static void install(std::shared_ptr<Platform> platform);

  std::shared_ptr<Clock> clock;
  std::shared_ptr<MainLoop> mainLoop;
  std::shared_ptr<OperationQueue> operationQueue;
  std::shared_ptr<HttpClient> httpClient;  // completions on operationQueue
  std::shared_ptr<NotificationCenter> notificationCenter;
  std::shared_ptr<Application> application;  // starts Active; posts on notificationCenter
  std::shared_ptr<FileSystem> fileSystem;
  std::shared_ptr<UserDefaults> userDefaults;
  std::shared_ptr<Bundle> bundle;
  std::shared_ptr<Device> device;
  std::shared_ptr<Locale> locale;
  std::shared_ptr<TimeZone> timeZone;
  std::shared_ptr<SystemLog> systemLog;
  std::shared_ptr<CookieStorage> cookieStorage;  // in dataDirectory; expiry judged by clock
  // Linux has no Search Ads attribution client: null unless a host or a test supplies one.
  std::shared_ptr<AdAttributionClient> adAttributionClient;
  // The UI toolkit's screen, windows and views; made on first use (ui::UserInterface::current()).
  std::shared_ptr<ui::UserInterface> userInterface;
};

}  // namespace tavo::platform
