#include "core/SecurityController.h"

#include <gtest/gtest.h>

namespace tavo {
namespace {

TEST(SecurityController, OwnDomainsPassWithoutLookingAtTheListAndWithoutAListEverythingPasses) {
  SecurityController security;
  security.setWhitelist(std::vector<std::string>{"https://shop.example/"});
  EXPECT_TRUE(security.urlInWhiteList(std::string("https://shop.example/deal")));
  EXPECT_TRUE(security.urlInWhiteList(std::string("https://tavo.example/campaign")));
  // Plain containment: an own domain anywhere in the text passes.
  EXPECT_TRUE(security.urlInWhiteList(std::string("https://evil.example/?r=qrv.example")));
  EXPECT_FALSE(security.urlInWhiteList(std::string("https://evil.example/")));
  EXPECT_FALSE(security.urlInWhiteList(std::string("http://shop.example/")));  // prefix, not host
  EXPECT_TRUE(security.urlInWhiteList(std::string("")));
  security.setWhitelist(std::nullopt);
  EXPECT_TRUE(security.urlInWhiteList(std::string("https://evil.example/")));
  EXPECT_TRUE(security.urlInWhiteList(std::nullopt));
}

}  // namespace
}  // namespace tavo
