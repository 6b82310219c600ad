#include "platform/Device.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <map>
#include <optional>
#include <thread>

#include "SdkTestEnvironment.h"
#include "platform/Locale.h"

namespace tavo::platform {
namespace {

TEST(DeviceVendorIdentifier, IsANameBasedUUIDOfMachineAndVendorOnly) {
  const std::string machineA = "0123456789abcdef0123456789abcdef";
  const std::string id = Device::vendorIdentifierForMachine(machineA, "vendor");
  EXPECT_EQ(id, Device::vendorIdentifierForMachine(machineA, "vendor"));
  EXPECT_NE(id, Device::vendorIdentifierForMachine(machineA, "vendor2"));
  EXPECT_NE(id, Device::vendorIdentifierForMachine("fedcba9876543210fedcba9876543210", "vendor"));
  EXPECT_EQ(id[14], '5');

  std::string machineId;  // this machine's, as the device reads it
  for (const char* path : {"/etc/machine-id", "/var/lib/dbus/machine-id"})
    if (std::ifstream file(path); machineId.empty() && file) std::getline(file, machineId);
  if (machineId.empty()) GTEST_SKIP() << "this machine has no machine id";
  EXPECT_EQ(Device::fromThisMachine("com.example.vendor", "/nonexistent")->identifierForVendor(),
            Device::vendorIdentifierForMachine(machineId, "com.example.vendor"));
}

TEST(DeviceVendorIdentifier, WithoutASystemMachineIdOneIsMadeOnceAndKeptInTheDataDirectory) {
  testing::TemporaryDirectory directory, other;
  const std::vector<std::string> none{directory.path() + "/no-machine-id"};
  const auto made = Device::machineIdentifier(directory.path(), none);
  ASSERT_TRUE(made);
  EXPECT_EQ(made->size(), 32u);
  EXPECT_EQ(Device::machineIdentifier(directory.path(), none), made);  // read back, not made again
  EXPECT_NE(Device::machineIdentifier(other.path(), none), made);
  EXPECT_FALSE(Device::machineIdentifier(directory.path() + "/missing", none));  // nowhere to keep one

  const std::string system = other.path() + "/system-machine-id";
  std::ofstream(system) << "0123456789abcdef0123456789abcdef\n";
  EXPECT_EQ(Device::machineIdentifier(directory.path(), {system}), "0123456789abcdef0123456789abcdef");
}

TEST(DeviceTracking, NoAdvertisingIdentifierUntilTheHostGrantsIt) {
  const auto device = Device::fromThisMachine("vendor", "/nonexistent");
  EXPECT_FALSE(device->advertisingIdentifier().has_value());

  // Without a request handler the current status is reported at once; no completion is fine too.
  device->setTracking(true, Device::Restricted, std::nullopt);
  std::optional<Device::TrackingStatus> reported;
  device->requestTrackingAuthorization([&](Device::TrackingStatus status) { reported = status; });
  EXPECT_EQ(reported, Device::Restricted);
  device->requestTrackingAuthorization(nullptr);
}

TEST(DeviceTracking, HostAnswerFromAnotherThreadUpdatesStatusOnce) {
  const auto device = std::make_shared<Device>();
  device->setTracking(true, Device::NotDetermined, std::nullopt);
  std::function<void(Device::TrackingStatus)> answer;
  device->setTrackingRequestHandler([&](std::function<void(Device::TrackingStatus)> reply) { answer = reply; });

  int completions = 0;
  Device::TrackingStatus reported = Device::NotDetermined;
  device->requestTrackingAuthorization([&](Device::TrackingStatus status) {
    ++completions;
    reported = status;
  });
  EXPECT_EQ(completions, 0);  // waits for the host
  ASSERT_TRUE(answer);
  std::thread host([&] {
    answer(Device::Denied);
    answer(Device::Authorized);  // a second answer is ignored
  });
  host.join();
  EXPECT_EQ(completions, 1);
  EXPECT_EQ(reported, Device::Denied);
  EXPECT_EQ(device->trackingAuthorizationStatus(), Device::Denied);
}

TEST(DeviceTracking, LateAnswerAfterDeviceIsGoneStillCompletes) {
  std::function<void(Device::TrackingStatus)> answer;
  std::optional<Device::TrackingStatus> reported;
  {
    auto device = std::make_shared<Device>();
    device->setTrackingRequestHandler([&](std::function<void(Device::TrackingStatus)> reply) { answer = reply; });
    device->requestTrackingAuthorization([&](Device::TrackingStatus status) { reported = status; });
  }
  ASSERT_TRUE(answer);
  answer(Device::Authorized);  // must not touch the freed device (AddressSanitizer would say)
  EXPECT_EQ(reported, Device::Authorized);
}

TEST(DeviceControls, MajorVersionIsTheLeadingNumberOrZero) {
  Device device;
  for (const auto& [version, major] :
       std::map<std::string, int>{{"6.1.0-18-amd64", 6}, {"unknown", 0}, {"99999999999999999999", 0}}) {
    device.setSystem("Linux", version);
    EXPECT_EQ(device.systemMajorVersion(), major) << version;
  }
}

// Sets environment variables for one test and puts the old values back.
class CurrentLocale : public ::testing::Test {
 protected:
  void set(const char* name, const char* value) {
    const char* old = std::getenv(name);
    saved_.try_emplace(name, old ? std::optional<std::string>(old) : std::nullopt);
    value ? setenv(name, value, 1) : unsetenv(name);
  }
  void TearDown() override {
    for (const auto& [name, value] : saved_) value ? setenv(name.c_str(), value->c_str(), 1) : unsetenv(name.c_str());
  }

 private:
  std::map<std::string, std::optional<std::string>> saved_;
};

TEST_F(CurrentLocale, LcAllThenLcMessagesThenLangWithoutCodesetOrModifierAndPosixAsEnUsPosix) {
  const struct {
    const char *all, *messages, *lang, *expected;
  } cases[] = {
      {"fr_FR.UTF-8", "de_DE.UTF-8", "es_ES.UTF-8", "fr_FR"},
      {"", "de_DE.UTF-8", "es_ES.UTF-8", "de_DE"},  // empty counts as unset
      {nullptr, nullptr, "de_DE.ISO-8859-15@euro", "de_DE"},
      {nullptr, nullptr, "C.UTF-8", "en_US_POSIX"},
      {nullptr, nullptr, nullptr, "en_US_POSIX"},
  };
  for (const auto& c : cases) {
    set("LC_ALL", c.all);
    set("LC_MESSAGES", c.messages);
    set("LANG", c.lang);
    EXPECT_EQ(Locale::currentLocale().localeIdentifier(), c.expected) << (c.lang ? c.lang : "no LANG");
  }
}

}  // namespace
}  // namespace tavo::platform
