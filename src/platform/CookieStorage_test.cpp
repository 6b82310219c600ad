#include "platform/CookieStorage.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <cmath>
#include <filesystem>
#include <limits>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "platform/DiskFileSystem.h"
#include "platform/ManualClock.h"

namespace tavo::platform {
namespace {

using Cookie = CookieStorage::Cookie;

class CookieStorageTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = (std::filesystem::temp_directory_path() / "tavo-cookies-XXXXXX").string();
    ASSERT_TRUE(::mkdtemp(pattern.data()));
    directory = pattern;
    fileSystem = std::make_shared<DiskFileSystem>(directory);
  }
  void TearDown() override { std::filesystem::remove_all(directory); }
  std::shared_ptr<CookieStorage> open() {
    return std::make_shared<CookieStorage>(fileSystem, [clock = clock] { return clock->now(); });
  }
  Cookie cookie(std::string name, std::string value, std::string domain = ".example.com", std::string path = "/",
                double lifetime = 3600) {
    Cookie c;
    c.name = std::move(name);
    c.value = std::move(value);
    c.domain = std::move(domain);
    c.path = std::move(path);
    c.expiresDate = clock->now().dateByAddingTimeInterval(lifetime);
    return c;
  }
  static std::vector<std::string> names(const std::vector<Cookie>& cookies) {
    std::vector<std::string> out;
    for (const auto& c : cookies) out.push_back(c.name + "=" + c.value);
    return out;
  }

  std::string directory;
  std::shared_ptr<FileSystem> fileSystem;
  std::shared_ptr<ManualClock> clock = std::make_shared<ManualClock>();
};

using Names = std::vector<std::string>;

TEST_F(CookieStorageTest, ACookieReplacesOnlyTheOneWithTheSameNameDomainAndPath) {
  auto storage = open();
  EXPECT_TRUE(storage->setCookie(cookie("a", "1")));
  EXPECT_TRUE(storage->setCookie(cookie("a", "2", ".example.com", "/shop")));
  EXPECT_TRUE(storage->setCookie(cookie("a", "3", ".other.com")));
  EXPECT_TRUE(storage->setCookie(cookie("a", "5", ".EXAMPLE.com")));  // domains compare without case
  EXPECT_TRUE(storage->deleteCookie(cookie("a", "", ".example.com", "/shop")));
  EXPECT_EQ(names(storage->cookies()), (Names{"a=5", "a=3"}));
}

TEST_F(CookieStorageTest, PersistentCookiesAndThePolicySurviveAReopenButSessionCookiesDoNot) {
  Cookie kept = cookie("kept", "v");
  kept.originURL = "example.com";
  kept.version = "1";
  kept.secure = true;
  Cookie session = cookie("session", "v");
  session.expiresDate.reset();
  {
    auto storage = open();
    EXPECT_TRUE(storage->setCookieAcceptPolicy(CookieStorage::Always));
    EXPECT_TRUE(storage->setCookie(kept));
    EXPECT_TRUE(storage->setCookie(session));
  }
  auto reopened = open();
  EXPECT_EQ(reopened->cookieAcceptPolicy(), CookieStorage::Always);
  EXPECT_EQ(reopened->cookies(), std::vector<Cookie>{kept});
}

TEST_F(CookieStorageTest, ExpiredCookiesArePurgedOnReadAndFromTheFile) {
  auto storage = open();
  EXPECT_TRUE(storage->setCookie(cookie("short", "1", ".example.com", "/", 10)));
  EXPECT_TRUE(storage->setCookie(cookie("long", "2", ".example.com", "/", 100)));
  clock->advance(10);  // expiry is exclusive: at its date the cookie is gone
  EXPECT_EQ(names(storage->cookiesForURL("https://www.example.com/")), (Names{"long=2"}));
  EXPECT_EQ(names(open()->cookies()), (Names{"long=2"}));
  const auto file = fileSystem->contentsAtPath(directory + "/" + CookieStorage::kFileName);
  ASSERT_TRUE(file);
  EXPECT_EQ(std::string(file->begin(), file->end()).find("short"), std::string::npos);

  // Setting an already expired cookie is how a site deletes one.
  EXPECT_TRUE(storage->setCookie(cookie("long", "gone", ".example.com", "/", -1)));
  EXPECT_TRUE(storage->cookies().empty());
  EXPECT_TRUE(open()->cookies().empty());
}

TEST_F(CookieStorageTest, CookiesForURLMatchDomainPathAndSecurity) {
  auto storage = open();
  EXPECT_TRUE(storage->setCookieAcceptPolicy(CookieStorage::Always));
  EXPECT_TRUE(storage->setCookie(cookie("dotted", "1", ".example.com")));
  EXPECT_TRUE(storage->setCookie(cookie("hostOnly", "2", "example.com")));
  EXPECT_TRUE(storage->setCookie(cookie("shop", "3", ".example.com", "/shop")));
  Cookie secure = cookie("secure", "4");
  secure.secure = true;
  EXPECT_TRUE(storage->setCookie(secure));

  EXPECT_EQ(names(storage->cookiesForURL("https://example.com/")), (Names{"dotted=1", "hostOnly=2", "secure=4"}));
  EXPECT_EQ(names(storage->cookiesForURL("http://www.example.com/shop/cart")), (Names{"dotted=1", "shop=3"}));
  EXPECT_EQ(names(storage->cookiesForURL("http://www.example.com/shopping")), (Names{"dotted=1"}));
  EXPECT_TRUE(storage->cookiesForURL("http://badexample.com/").empty());
  EXPECT_TRUE(storage->cookiesForURL("/relative/only").empty());
}

TEST_F(CookieStorageTest, TheAcceptPolicyDecidesWhatIsStored) {
  auto storage = open();
  EXPECT_TRUE(storage->setCookieAcceptPolicy(CookieStorage::Never));
  EXPECT_TRUE(storage->setCookie(cookie("refused", "1")));
  EXPECT_TRUE(storage->setCookies({cookie("refused", "2")}, "https://example.com/", "https://example.com/"));
  EXPECT_TRUE(storage->cookies().empty());

  EXPECT_TRUE(storage->setCookieAcceptPolicy(CookieStorage::OnlyFromMainDocumentDomain));
  Cookie noDomain = cookie("fromHost", "3", "");
  EXPECT_TRUE(storage->setCookies({cookie("third", "1", ".ads.net"), cookie("first", "2"), noDomain},
                                  "https://www.example.com/page", "https://www.example.com/"));
  const auto stored = storage->cookies();
  EXPECT_EQ(names(stored), (Names{"first=2", "fromHost=3"}));
  ASSERT_EQ(stored.size(), 2u);
  EXPECT_EQ(stored[1].domain, "www.example.com");
  EXPECT_EQ(stored[1].originURL, "https://www.example.com/page");

  EXPECT_TRUE(storage->setCookieAcceptPolicy(CookieStorage::Always));
  EXPECT_TRUE(storage->setCookies({cookie("third", "1", ".ads.net")}, "https://ads.net/", "https://www.example.com/"));
  EXPECT_EQ(storage->cookies().size(), 3u);
}

TEST_F(CookieStorageTest, ADamagedFileReadsAsEmptyAndIsReplacedByTheNextWrite) {
  const std::string path = directory + "/" + CookieStorage::kFileName;
  for (const std::string damaged : {"{not json", R"({"acceptPolicy":"x","cookies":[{"name":5},{"value":"x"},7]})"}) {
    ASSERT_TRUE(fileSystem->writeAtomically(path, Data(damaged.begin(), damaged.end())));
    auto storage = open();
    EXPECT_TRUE(storage->cookies().empty()) << damaged;
    EXPECT_EQ(storage->cookieAcceptPolicy(), CookieStorage::OnlyFromMainDocumentDomain) << damaged;
    EXPECT_TRUE(storage->setCookie(cookie("fresh", "1")));
    EXPECT_EQ(names(open()->cookies()), (Names{"fresh=1"})) << damaged;
  }
  // Fields of the wrong type fall back to their defaults instead of failing the whole file.
  const std::string odd = R"({"cookies":[{"name":"odd","expiresDate":1e12,"value":5,"path":[],"secure":"yes"}]})";
  ASSERT_TRUE(fileSystem->writeAtomically(path, Data(odd.begin(), odd.end())));
  const auto cookies = open()->cookies();
  ASSERT_EQ(cookies.size(), 1u);
  EXPECT_EQ(cookies[0].value, "");
  EXPECT_EQ(cookies[0].path, "/");
  EXPECT_FALSE(cookies[0].secure);
}

// A cookie from anywhere (a host, a web page's header) may carry bytes that are not UTF-8: they are kept as
// U+FFFD, the file stays JSON, and the cookie is the same after a reopen and can still be deleted.
TEST_F(CookieStorageTest, TextThatIsNotUTF8IsRepairedAndTheFileStaysReadable) {
  auto storage = open();
  EXPECT_TRUE(storage->setCookie(cookie("caf\xE9", "\xFF\xFEok", "\xFF.example.com")));
  EXPECT_TRUE(
      storage->setCookies({cookie("page", "v\xC3", "")}, "https://shop.example.com/", "https://shop.example.com/"));
  const Names expected{"caf\xEF\xBF\xBD=\xEF\xBF\xBD\xEF\xBF\xBDok", "page=v\xEF\xBF\xBD"};
  EXPECT_EQ(names(storage->cookies()), expected);
  const auto reopened = open()->cookies();
  EXPECT_EQ(names(reopened), expected);
  ASSERT_FALSE(reopened.empty());
  EXPECT_EQ(reopened[0].domain, "\xEF\xBF\xBD.example.com");

  EXPECT_TRUE(storage->deleteCookie(cookie("caf\xE9", "", "\xFF.example.com")));
  EXPECT_EQ(names(open()->cookies()), (Names{"page=v\xEF\xBF\xBD"}));
}

// Found by fuzzing: an expiry that was not a finite date went to the file as null and the cookie was gone after
// a reopen. Never expiring is the latest date the file can hold; an expiry that is no number makes a session
// cookie; minus infinity deletes, like any past date.
TEST_F(CookieStorageTest, ExpiriesThatAreNotFiniteKeepMemoryAndFileAlike) {
  const double infinity = std::numeric_limits<double>::infinity();
  auto storage = open();
  EXPECT_TRUE(storage->setCookie(cookie("forever", "1", ".example.com", "/", infinity)));
  EXPECT_TRUE(storage->setCookie(cookie("nan", "2", ".example.com", "/", std::numeric_limits<double>::quiet_NaN())));
  EXPECT_TRUE(storage->setCookie(cookie("gone", "3")));
  EXPECT_TRUE(storage->setCookie(cookie("gone", "", ".example.com", "/", -infinity)));
  const auto cookies = storage->cookies();
  EXPECT_EQ(names(cookies), (Names{"forever=1", "nan=2"}));
  ASSERT_EQ(cookies.size(), 2u);
  EXPECT_TRUE(std::isfinite(cookies[0].expiresDate->timeIntervalSince1970()));
  EXPECT_TRUE(cookies[1].isSessionOnly());
  EXPECT_EQ(open()->cookies(), std::vector<Cookie>{cookies[0]});
}

TEST_F(CookieStorageTest, WritersOnManyThreadsLoseNothing) {
  auto storage = open();
  EXPECT_TRUE(storage->setCookieAcceptPolicy(CookieStorage::Always));
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([&, t] {
      for (int i = 0; i < 10; ++i) {
        EXPECT_TRUE(storage->setCookie(cookie("c" + std::to_string(t) + "_" + std::to_string(i), "v")));
        storage->cookiesForURL("https://example.com/");
      }
    });
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(storage->cookies().size(), 40u);
  EXPECT_EQ(open()->cookies().size(), 40u);
}

}  // namespace
}  // namespace tavo::platform
