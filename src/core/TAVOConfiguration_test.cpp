#include "tavo/TAVOConfiguration.h"

#include <gtest/gtest.h>

namespace tavo {
namespace {

TEST(TAVOConfiguration, AddDefaultsRepairsBadValuesAndKeepsTheKeyAndTheDomains) {
  TAVOConfiguration configured(std::string("appuser123456789ABC"));
  configured.queueTime = -5;
  configured.urlBase = std::nullopt;
  configured.trackScreenEvents = false;
  configured.shortQuorvelDomains = std::vector<std::string>{"s.example"};
  configured.addDefaults();
  EXPECT_EQ(configured.sessionKey, std::optional<std::string>("appuser123456789ABC"));
  EXPECT_EQ(configured.queueTime, 10);
  EXPECT_EQ(configured.urlBase, std::optional<std::string>(TAVOConfiguration::kDefaultURLBase));
  EXPECT_TRUE(configured.trackScreenEvents);
  EXPECT_EQ(configured.shortQuorvelDomains->size(), 1u);  // untouched by the defaults
}

}  // namespace
}  // namespace tavo
