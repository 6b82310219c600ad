#include "core/TAVODeviceController.h"

#include <gtest/gtest.h>

#include "SdkTestEnvironment.h"
#include "core/TAVOController.h"

namespace tavo {
namespace {

class TAVODeviceControllerTest : public ::testing::Test {
 protected:
  void SetUp() override { device().setIdentifierForVendor(std::string("0A1B2C3D-0000-4000-8000-00000000ABCD")); }
  platform::Device& device() { return *env.platform().device; }
  std::shared_ptr<TAVODeviceController> controller() { return TAVOController::sharedInstance().deviceController(); }

  testing::SdkTestEnvironment env{testing::SdkTestEnvironment::Store::File};
};

TEST_F(TAVODeviceControllerTest, InstallationIdIsMadeOnceFromTheVendorIdSurvivesARestartAndComesBackAfterAReinstall) {
  EXPECT_EQ(controller()->deviceUUID(), "V-0A1B2C3D-0000-4000-8000-00000000ABCD");

  env.restart();
  device().setIdentifierForVendor(std::string("FFFFFFFF-0000-4000-8000-000000000000"));
  EXPECT_EQ(controller()->deviceUUID(), "V-0A1B2C3D-0000-4000-8000-00000000ABCD");  // never changes once stored

  TAVOController::sharedInstance().reset();  // the store is emptied, as by a reinstall
  EXPECT_EQ(controller()->deviceUUID(), "V-FFFFFFFF-0000-4000-8000-000000000000");  // built again from the vendor id
}

TEST_F(TAVODeviceControllerTest, WithoutAVendorIdTheInstallationIdIsStillMadeFromItAndAResetKeepsIt) {
  device().setIdentifierForVendor(std::nullopt);
  EXPECT_EQ(controller()->deviceUUID(), "V-(null)");
  TAVOController::sharedInstance().reset();
  EXPECT_EQ(controller()->deviceUUID(), "V-(null)");
}

TEST_F(TAVODeviceControllerTest, AdvertisingIdOnlyWithATrackingServiceThatAuthorised) {
  platform::Dictionary ids;
  controller()->addDeviceIdsToDict(ids);
  EXPECT_FALSE(ids.contains("idfa"));
  EXPECT_EQ(*ids.find("idfv"), platform::Value("0A1B2C3D-0000-4000-8000-00000000ABCD"));

  device().setTracking(true, platform::Device::Denied, std::string("AD-ID"));
  EXPECT_FALSE(controller()->idfa());

  // The host grants tracking when the SDK asks.
  device().setTrackingRequestHandler([&](std::function<void(platform::Device::TrackingStatus)> done) {
    device().setTracking(true, platform::Device::Authorized, std::string("AD-ID"));
    done(platform::Device::Authorized);
  });
  controller()->requestTrackingWithIdfa();
  EXPECT_EQ(controller()->idfa(), std::optional<std::string>("AD-ID"));
  device().setTracking(false, platform::Device::Authorized, std::string("AD-ID"));  // no tracking service
  EXPECT_FALSE(controller()->idfa());
}

}  // namespace
}  // namespace tavo
