#include "platform/Platform.h"

#include <utility>

#include "platform/DiskFileSystem.h"
#include "platform/SqliteUserDefaults.h"

namespace tavo::platform {

namespace {

std::shared_ptr<Platform>& installed() {
  static std::shared_ptr<Platform> platform;
  return platform;
}

}  // namespace

std::shared_ptr<Platform> Platform::makeWith(std::shared_ptr<Clock> clock, std::shared_ptr<FileSystem> fileSystem,
                                             std::shared_ptr<UserDefaults> userDefaults) {
  auto p = std::make_shared<Platform>();
  p->clock = std::move(clock);
  p->mainLoop = std::make_shared<MainLoop>(p->clock);
  p->operationQueue = std::make_shared<OperationQueue>();
  p->notificationCenter = std::make_shared<NotificationCenter>();
  p->application = std::make_shared<Application>(p->notificationCenter, Application::Active);
  p->fileSystem = std::move(fileSystem);
  p->userDefaults = std::move(userDefaults);
  p->bundle = std::make_shared<Bundle>(Dictionary{
      {"CFBundleIdentifier", "com.example.tavo-host"},
      {"CFBundleName", "TAVO Host"},
  });
  // The identifier for vendor is shared by the apps of one vendor, as on the phone.
  p->device = Device::fromThisMachine("com.example", p->fileSystem->dataDirectory());
  p->locale = std::make_shared<Locale>(Locale::currentLocale());
  p->timeZone = std::make_shared<TimeZone>(TimeZone::systemTimeZone());
  p->systemLog = std::make_shared<SystemLog>();
  p->application->setSystemLog(p->systemLog);
  // Expiry follows whatever clock the platform holds at the time, so a test may swap the clock later.
  std::weak_ptr<Platform> owner = p;
  p->cookieStorage = std::make_shared<CookieStorage>(p->fileSystem, [owner] {
    const auto platform = owner.lock();
    return platform && platform->clock ? platform->clock->now() : SystemClock().now();
  });
  return p;
}

std::shared_ptr<Platform> Platform::makeDefault(const std::string& dataDirectory) {
  auto p = makeWith(std::make_shared<SystemClock>(), std::make_shared<DiskFileSystem>(dataDirectory),
                    std::make_shared<SqliteUserDefaults>(dataDirectory + "/UserDefaults.sqlite"));
  p->httpClient = std::make_shared<CurlHttpClient>(p->operationQueue);
  return p;
}

Platform& Platform::shared() {
  auto& platform = installed();
  if (!platform) platform = makeDefault(DiskFileSystem::defaultDataDirectory("tavo"));
  return *platform;
}

bool Platform::isInstalled() { return installed() != nullptr; }

void Platform::install(std::shared_ptr<Platform> platform) { installed() = std::move(platform); }

}  // namespace tavo::platform
