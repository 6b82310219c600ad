#include "tavo/TAVOConfiguration.h"

#include <gtest/gtest.h>

namespace tavo {
namespace {

TEST(TAVOConfiguration, DefaultsAndKeyKeptByAddDefaults) {
  TAVOConfiguration plain;
  EXPECT_FALSE(plain.sessionKey);
  EXPECT_EQ(plain.queueTime, 10);
  EXPECT_FALSE(plain.debugEnabled);
  EXPECT_EQ(plain.urlBase, std::optional<std::string>("https://api.tavo.example/ws/"));
  EXPECT_TRUE(plain.trackScreenEvents);
  EXPECT_TRUE(plain.appleAdsAttribution);

  TAVOConfiguration configured(std::string("appuser123456789ABC"));
  configured.queueTime = -5;
  configured.urlBase = std::nullopt;
  configured.trackScreenEvents = false;
  configured.shortQuorvelDomains = std::vector<std::string>{"s.example"};
  configured.addDefaults();
  EXPECT_EQ(configured.sessionKey, std::optional<std::string>("appuser123456789ABC"));
  EXPECT_EQ(configured.queueTime, 10);
  EXPECT_TRUE(configured.urlBase);
  EXPECT_TRUE(configured.trackScreenEvents);
  EXPECT_EQ(configured.shortQuorvelDomains->size(), 1u);  // untouched by the defaults
}

}  // namespace
}  // namespace tavo
