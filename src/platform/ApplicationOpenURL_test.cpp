#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "platform/Application.h"
#include "platform/NotificationCenter.h"
#include "platform/SystemLog.h"

namespace tavo::platform {
namespace {

namespace fs = std::filesystem;

class ApplicationOpenURLTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = (fs::temp_directory_path() / "tavo-open-XXXXXX").string();
    ASSERT_TRUE(::mkdtemp(pattern.data()));
    base = pattern;
    log->setHandler([this](const std::string& line) { lines.push_back(line); });
    application.setSystemLog(log);
    // A stand-in for xdg-open that records its one argument, written whole before it appears.
    opener = (base / "opener").string();
    std::ofstream(opener) << "#!/bin/sh\nprintf '%s' \"$1\" > \"$(dirname \"$0\")/tmp\" && "
                             "mv \"$(dirname \"$0\")/tmp\" \"$(dirname \"$0\")/opened\"\n";
    ASSERT_EQ(::chmod(opener.c_str(), 0700), 0);
    application.setSystemOpenCommand(opener);
  }
  void TearDown() override { fs::remove_all(base); }

  // What the stand-in opener received; waits for the background process to write it.
  std::string opened(bool expectIt = true) const {
    const fs::path file = base / "opened";
    for (int i = 0; i < 1000 && expectIt && !fs::exists(file); ++i)
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    std::ifstream in(file);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
  }

  fs::path base;
  std::string opener;
  std::shared_ptr<SystemLog> log = std::make_shared<SystemLog>();
  std::vector<std::string> lines;  // written under the log's lock, read after the calls return
  Application application{std::make_shared<NotificationCenter>()};
};

TEST_F(ApplicationOpenURLTest, TheHostsHandlerDecidesAndMaySwapHandlersFromInside) {
  std::vector<std::string> seen;
  application.setOpenURLHandler([&](const std::string& url) {
    seen.push_back(url);
    // Re-entering the application from the handler must not deadlock.
    application.setOpenURLHandler(nullptr);
    return url.starts_with("myapp:");
  });
  application.setOpenURLWithSystem(true);
  EXPECT_TRUE(application.openURL("myapp://deal"));
  EXPECT_EQ(seen, std::vector<std::string>{"myapp://deal"});
  EXPECT_TRUE(lines.empty());
  EXPECT_EQ(opened(false), "");

  // The handler removed itself: the system opener takes over.
  EXPECT_TRUE(application.openURL("https://example.com/"));
  EXPECT_EQ(opened(), "https://example.com/");
  EXPECT_EQ(seen.size(), 1u);
}

TEST_F(ApplicationOpenURLTest, TheSystemOpenerGetsTheURLAsOneArgumentNeverAsShellText) {
  application.setOpenURLWithSystem(true);
  const std::string url = "https://example.com/?a=1&b=$(touch pwned);`touch pwned2` 'q' \"d\"";
  EXPECT_TRUE(application.openURL(url));
  EXPECT_EQ(opened(), url);
  EXPECT_FALSE(fs::exists("pwned") || fs::exists("pwned2") || fs::exists(base / "pwned"));
}

TEST_F(ApplicationOpenURLTest, WithoutHandlerOrWorkingOpenerTheURLIsLoggedAndNothingRuns) {
  EXPECT_FALSE(application.openURL("https://example.com/promo?x=1"));
  application.setOpenURLWithSystem(true);
  application.setSystemOpenCommand((base / "missing-opener").string());
  EXPECT_FALSE(application.openURL("https://example.com/"));
  // A URL that would read as an option of the opener is refused before anything runs.
  application.setSystemOpenCommand(opener);
  EXPECT_FALSE(application.openURL("--help"));
  EXPECT_EQ(opened(false), "");
  EXPECT_EQ(lines, (std::vector<std::string>{
                       "Open URL: https://example.com/promo?x=1",
                       "Open URL failed with " + (base / "missing-opener").string() + ": https://example.com/",
                       "Open URL failed with " + opener + ": --help"}));
}

TEST_F(ApplicationOpenURLTest, HandlersMayChangeWhileOtherThreadsOpenURLs) {
  std::atomic<int> opens{0};
  std::atomic<int> calls{0};
  std::atomic<bool> stop{false};
  std::vector<std::thread> callers;
  for (int t = 0; t < 3; ++t)
    callers.emplace_back([&] {
      while (!stop) {
        ++calls;
        application.openURL("myapp://x");
        application.continueUserActivity("https://example.com/");
      }
    });
  for (int i = 0; i < 200; ++i) {
    application.setOpenURLHandler([&](const std::string&) { return ++opens > 0; });
    application.setContinueUserActivityHandler([](const std::string&) { return true; });
    application.setOpenURLHandler(nullptr);
    application.setContinueUserActivityHandler(nullptr);
  }
  stop = true;
  for (auto& caller : callers) caller.join();
  // Every call either reached a handler or logged: none was lost, none ran the system opener.
  EXPECT_EQ(static_cast<std::size_t>(calls.load()), static_cast<std::size_t>(opens.load()) + lines.size());
  EXPECT_EQ(opened(false), "");
}

}  // namespace
}  // namespace tavo::platform
