#include "core/SecurityController.h"

#include <gtest/gtest.h>

#include "attribution/TAVOAttributionController.h"
#include "attribution/TAVOShortUrlController.h"
#include "tavo/TAVOConfiguration.h"

namespace tavo {
namespace {

TEST(SecurityController, OwnDomainsPassWithoutLookingAtTheListAndWithoutAListEverythingPasses) {
  SecurityController security;
  security.setWhitelist(std::vector<std::string>{"https://shop.example/"});
  EXPECT_TRUE(security.urlInWhiteList(std::string("https://shop.example/deal")));
  EXPECT_TRUE(security.urlInWhiteList(std::string("https://tavo.example/campaign")));
  // Plain containment: an own domain anywhere in the text passes.
  EXPECT_TRUE(security.urlInWhiteList(std::string("https://evil.example/?r=tavo.link")));
  EXPECT_FALSE(security.urlInWhiteList(std::string("https://evil.example/")));
  EXPECT_FALSE(security.urlInWhiteList(std::string("http://shop.example/")));  // prefix, not host
  EXPECT_TRUE(security.urlInWhiteList(std::string("")));
  security.setWhitelist(std::nullopt);
  EXPECT_TRUE(security.urlInWhiteList(std::string("https://evil.example/")));
  EXPECT_TRUE(security.urlInWhiteList(std::nullopt));
}

TEST(SecurityController, EveryDomainTheSdkItselfUsesPassesAWhiteList) {
  SecurityController security;
  security.setWhitelist(std::vector<std::string>{"https://shop.example/"});
  const TAVOAttributionController attribution;
  const TAVOShortUrlController shortUrls;
  std::vector<std::string> own{TAVOConfiguration::kDefaultURLBase};
  for (const auto& domain : attribution.defaultQuorvelDomains()) own.push_back("https://go" + domain);
  for (const auto& domain : shortUrls.defaultShortQuorvelDomains()) own.push_back("https://s" + domain);
  for (const auto& address : own) EXPECT_TRUE(security.urlInWhiteList(address + "/x")) << address;
}

}  // namespace
}  // namespace tavo
