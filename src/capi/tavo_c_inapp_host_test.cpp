// A host written in plain C (tests/c_client/tavo_c_inapp_host.c) runs as its own process against the emulator:
// its screen reaches the web service as a screen event, a start view comes, shows, and goes at its close button.

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdio>
#include <nlohmann/json.hpp>

#include "InAppTestEnvironment.h"

namespace tavo {
namespace {

using json = nlohmann::json;

// The views of class className in the tree the host printed after label.
std::vector<json> viewsOf(const std::string& output, const std::string& label, const std::string& className) {
  const auto start = output.find(label + ": ") + label.size() + 2;
  const json tree = json::parse(output.substr(start, output.find('\n', start) - start), nullptr, false);
  std::vector<json> found;
  std::function<void(const json&)> walk = [&](const json& node) {
    if (node.value("class", "") == className) found.push_back(node);
    for (const auto& child : node.value("subviews", json::array())) walk(child);
  };
  for (const auto& window : tree.value("windows", json::array())) walk(window);
  return found;
}

TEST(CInAppHostProcess, ShowsItsScreenGetsAStartViewAndClosesItWithItsButton) {
  testing::InAppTestEnvironment env;  // its emulator, and a place for the host's data
  const std::string data = env.sdk().dataDirectory() + "/host";
  const std::string command = std::string(TAVO_C_INAPP_HOST_PATH) + " '" + data + "' '" + env.emulator().baseURL() +
                              "' '" + data + ".png' 2>&1";
  std::string output;
  FILE* pipe = popen(command.c_str(), "r");
  ASSERT_TRUE(pipe);
  char buffer[4096];
  while (fgets(buffer, sizeof buffer, pipe)) output += buffer;
  const int status = pclose(pipe);
  ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << output;

  const auto buttons = viewsOf(output, "tree-open", "UIButton");
  ASSERT_EQ(buttons.size(), 1u) << output;
  EXPECT_EQ(buttons[0]["frame"], json::parse("[343, 52, 35, 35]"));
  EXPECT_EQ(buttons[0]["accessibilityIdentifier"], "startview_close");
  const auto pages = viewsOf(output, "tree-open", "WKWebView");
  ASSERT_EQ(pages.size(), 1u);
  EXPECT_EQ(pages[0]["pageTitle"], "Spring teas are in");
  EXPECT_TRUE(viewsOf(output, "tree-closed", "WKWebView").empty());
  EXPECT_NE(output.find("listener: shown {\"type\":2,\"id\":501"), std::string::npos) << output;
  EXPECT_NE(output.find("listener: closed {\"type\":2,\"id\":501"), std::string::npos);
  EXPECT_EQ(env.screenEvents(), std::vector<std::string>{"HomeScreen"});
  EXPECT_EQ(env.tally(2, "501").checks, 1);
  EXPECT_EQ(env.tally(2, "501").impressions, 1);
  EXPECT_EQ(env.tally(2, "501").clicks, 0);  // the close button is not the page
}

}  // namespace
}  // namespace tavo
