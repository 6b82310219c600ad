#include "platform/Device.h"

#include <gtest/gtest.h>
#include <sys/utsname.h>

#include <cstdlib>
#include <fstream>
#include <map>
#include <optional>
#include <thread>

#include "platform/Locale.h"

namespace tavo::platform {
namespace {

std::optional<std::string> machineId() {
  for (const char* path : {"/etc/machine-id", "/var/lib/dbus/machine-id"}) {
    std::ifstream file(path);
    std::string line;
    if (file && std::getline(file, line) && !line.empty()) return line;
  }
  return std::nullopt;
}

TEST(DeviceFromThisMachine, ReadsKernelFacts) {
  utsname names{};
  ASSERT_EQ(uname(&names), 0);
  const auto device = Device::fromThisMachine("com.example.vendor");
  EXPECT_EQ(device->sysctlByName("hw.machine"), std::string(names.machine));
  ASSERT_TRUE(device->sysctlByName("kern.osversion").has_value());
  EXPECT_FALSE(device->sysctlByName("kern.osversion")->empty());
  EXPECT_EQ(device->systemName(), "Linux");
  EXPECT_EQ(device->systemVersion(), names.release);
  EXPECT_EQ(device->systemMajorVersion(), std::atoi(names.release));
  EXPECT_GT(device->systemMajorVersion(), 0);
  ASSERT_TRUE(device->model().has_value());
  EXPECT_FALSE(device->model()->empty());
  EXPECT_FALSE(device->sysctlByName("hw.nosuchthing").has_value());
}

TEST(DeviceFromThisMachine, VendorIdentifierIsStablePerVendor) {
  const auto id = machineId();
  if (!id) GTEST_SKIP() << "this machine has no machine id";
  const auto first = Device::fromThisMachine("com.example.vendor")->identifierForVendor();
  const auto again = Device::fromThisMachine("com.example.vendor")->identifierForVendor();
  const auto other = Device::fromThisMachine("com.other.vendor")->identifierForVendor();
  ASSERT_TRUE(first && again && other);
  EXPECT_EQ(*first, *again);
  EXPECT_NE(*first, *other);
  EXPECT_EQ(*first, Device::vendorIdentifierForMachine(*id, "com.example.vendor"));
}

TEST(DeviceVendorIdentifier, DependsOnMachineAndVendorOnly) {
  const std::string machineA = "0123456789abcdef0123456789abcdef";
  const std::string machineB = "fedcba9876543210fedcba9876543210";
  const std::string id = Device::vendorIdentifierForMachine(machineA, "vendor");
  EXPECT_EQ(id, Device::vendorIdentifierForMachine(machineA, "vendor"));
  EXPECT_NE(id, Device::vendorIdentifierForMachine(machineA, "vendor2"));
  EXPECT_NE(id, Device::vendorIdentifierForMachine(machineB, "vendor"));
  ASSERT_EQ(id.size(), 36u);
  EXPECT_EQ(id[14], '5');
  EXPECT_EQ(id.find_first_of("abcdef"), std::string::npos);  // upper case
}

TEST(DeviceTracking, NothingUntilTheHostGrantsIt) {
  const auto device = Device::fromThisMachine("vendor");
  EXPECT_FALSE(device->hasTrackingManager());
  EXPECT_EQ(device->trackingAuthorizationStatus(), Device::NotDetermined);
  EXPECT_FALSE(device->advertisingIdentifier().has_value());

  device->setTracking(true, Device::Authorized, "6D92078A-8246-4BA4-AE5B-76104861E7DC");
  EXPECT_TRUE(device->hasTrackingManager());
  EXPECT_EQ(device->trackingAuthorizationStatus(), Device::Authorized);
  EXPECT_EQ(device->advertisingIdentifier(), "6D92078A-8246-4BA4-AE5B-76104861E7DC");
}

TEST(DeviceTracking, RequestWithoutHandlerReportsCurrentStatusAtOnce) {
  Device device;
  device.setTracking(true, Device::Restricted, std::nullopt);
  std::optional<Device::TrackingStatus> reported;
  device.requestTrackingAuthorization([&](Device::TrackingStatus status) { reported = status; });
  EXPECT_EQ(reported, Device::Restricted);
  device.requestTrackingAuthorization(nullptr);  // no completion: nothing to call, nothing breaks
}

TEST(DeviceTracking, HostAnswerFromAnotherThreadUpdatesStatusOnce) {
  const auto device = std::make_shared<Device>();
  device->setTracking(true, Device::NotDetermined, std::nullopt);
  std::function<void(Device::TrackingStatus)> answer;
  device->setTrackingRequestHandler(
      [&](std::function<void(Device::TrackingStatus)> reply) { answer = reply; });

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
    device->setTrackingRequestHandler(
        [&](std::function<void(Device::TrackingStatus)> reply) { answer = reply; });
    device->requestTrackingAuthorization([&](Device::TrackingStatus status) { reported = status; });
  }
  ASSERT_TRUE(answer);
  answer(Device::Authorized);  // must not touch the freed device (AddressSanitizer would say)
  EXPECT_EQ(reported, Device::Authorized);
}

TEST(DeviceControls, SysctlValuesCanBeSetAndCleared) {
  Device device;
  EXPECT_FALSE(device.sysctlByName("hw.machine").has_value());
  device.setSysctlValue("hw.machine", "iPhone14,2");
  device.setSysctlValue("hw.model", "D63AP");
  EXPECT_EQ(device.sysctlByName("hw.machine"), "iPhone14,2");
  EXPECT_EQ(device.sysctlByName("hw.model"), "D63AP");
  device.setSysctlValue("hw.model", std::nullopt);
  device.setSysctlValue("hw.machine", std::nullopt);
  EXPECT_FALSE(device.sysctlByName("hw.model").has_value());
  EXPECT_FALSE(device.sysctlByName("hw.machine").has_value());
}

TEST(DeviceControls, MajorVersionIsTheLeadingNumber) {
  Device device;
  device.setSystem("iOS", "14.7.1");
  EXPECT_EQ(device.systemMajorVersion(), 14);
  device.setSystem("Linux", "6.1.0-18-amd64");
  EXPECT_EQ(device.systemMajorVersion(), 6);
  device.setSystem("Linux", "unknown");
  EXPECT_EQ(device.systemMajorVersion(), 0);
  device.setSystem("Linux", "");
  EXPECT_EQ(device.systemMajorVersion(), 0);
  device.setSystem("Linux", "99999999999999999999");
  EXPECT_EQ(device.systemMajorVersion(), 0);
}

TEST(DeviceControls, ConcurrentReadersAndWriters) {
  Device device;
  std::thread writer([&] {
    for (int i = 0; i < 500; ++i) {
      device.setSystem("iOS", std::to_string(i % 20) + ".0");
      device.setModel("iPhone");
      device.setTracking(true, i % 2 ? Device::Authorized : Device::Denied, std::nullopt);
    }
  });
  for (int i = 0; i < 500; ++i) {
    EXPECT_GE(device.systemMajorVersion(), 0);
    device.model();
    device.trackingAuthorizationStatus();
  }
  writer.join();
  EXPECT_EQ(device.systemVersion(), "19.0");
}

// Sets environment variables for one test and puts the old values back.
class EnvironmentFixture : public testing::Test {
 protected:
  void set(const char* name, const char* value) {
    if (!saved_.count(name)) {
      const char* old = std::getenv(name);
      saved_[name] = old ? std::optional<std::string>(old) : std::nullopt;
    }
    if (value) {
      setenv(name, value, 1);
    } else {
      unsetenv(name);
    }
  }
  void TearDown() override {
    for (const auto& [name, value] : saved_) {
      if (value) {
        setenv(name.c_str(), value->c_str(), 1);
      } else {
        unsetenv(name.c_str());
      }
    }
  }

 private:
  std::map<std::string, std::optional<std::string>> saved_;
};

using CurrentLocale = EnvironmentFixture;

TEST_F(CurrentLocale, PrecedenceIsLcAllThenLcMessagesThenLang) {
  set("LC_ALL", "fr_FR.UTF-8");
  set("LC_MESSAGES", "de_DE.UTF-8");
  set("LANG", "es_ES.UTF-8");
  EXPECT_EQ(Locale::currentLocale().localeIdentifier(), "fr_FR");
  set("LC_ALL", "");  // empty counts as unset
  EXPECT_EQ(Locale::currentLocale().localeIdentifier(), "de_DE");
  set("LC_MESSAGES", nullptr);
  EXPECT_EQ(Locale::currentLocale().localeIdentifier(), "es_ES");
}

TEST_F(CurrentLocale, StripsCodesetAndModifier) {
  set("LC_ALL", nullptr);
  set("LC_MESSAGES", nullptr);
  set("LANG", "ca_ES@valencia");
  EXPECT_EQ(Locale::currentLocale().localeIdentifier(), "ca_ES");
  set("LANG", "de_DE.ISO-8859-15@euro");
  EXPECT_EQ(Locale::currentLocale().localeIdentifier(), "de_DE");
  set("LANG", "pt_BR");
  EXPECT_EQ(Locale::currentLocale().localeIdentifier(), "pt_BR");
}

TEST_F(CurrentLocale, PosixOrNothingIsEnUsPosix) {
  set("LC_ALL", nullptr);
  set("LC_MESSAGES", nullptr);
  for (const char* lang : {"C", "C.UTF-8", "POSIX"}) {
    set("LANG", lang);
    EXPECT_EQ(Locale::currentLocale().localeIdentifier(), "en_US_POSIX") << lang;
  }
  set("LANG", nullptr);
  EXPECT_EQ(Locale::currentLocale().localeIdentifier(), "en_US_POSIX");
}

}  // namespace
}  // namespace tavo::platform
