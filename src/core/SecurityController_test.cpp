#include "core/SecurityController.h"

#include <gtest/gtest.h>

namespace tavo {
namespace {

TEST(SecurityController, WithoutAWhiteListEveryAddressPasses) {
  SecurityController security;
  EXPECT_FALSE(security.whitelist());
  EXPECT_TRUE(security.urlInWhiteList(std::string("https://anything.example/")));
  EXPECT_TRUE(security.urlInWhiteList(std::nullopt));
}

TEST(SecurityController, OwnDomainsPassWithoutLookingAtTheList) {
  SecurityController security;
  security.setWhitelist(std::vector<std::string>{"https://shop.example/"});
  EXPECT_TRUE(security.urlInWhiteList(std::string("https://shop.example/deal")));
  EXPECT_TRUE(security.urlInWhiteList(std::string("https://tavo.example/campaign")));
  // Plain containment: an own domain anywhere in the text passes.
  EXPECT_TRUE(security.urlInWhiteList(std::string("https://evil.example/?r=qrv.example")));
  EXPECT_FALSE(security.urlInWhiteList(std::string("https://evil.example/")));
  EXPECT_FALSE(security.urlInWhiteList(std::string("http://shop.example/")));  // prefix, not host
  EXPECT_TRUE(security.urlInWhiteList(std::string("")));
  EXPECT_EQ(security.domainsTAVO().size(), 5u);
}

TEST(SecurityController, TheListIsCopiedInAndOut) {
  SecurityController security;
  std::vector<std::string> prefixes{"https://a.example/"};
  security.setWhitelist(prefixes);
  prefixes.push_back("https://b.example/");
  auto copy = security.whitelist();
  ASSERT_TRUE(copy);
  EXPECT_EQ(copy->size(), 1u);
  copy->push_back("https://c.example/");
  EXPECT_EQ(security.whitelist()->size(), 1u);
  security.setWhitelist(std::nullopt);
  EXPECT_TRUE(security.urlInWhiteList(std::string("https://b.example/")));
}

}  // namespace
}  // namespace tavo
