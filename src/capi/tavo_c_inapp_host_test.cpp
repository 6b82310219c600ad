// A host written in plain C (tests/c_client/tavo_c_inapp_host.c) runs as its own process against the emulator:
// its screen reaches the web service as a screen event, a start view comes, shows, and goes at its close button.

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdio>
#include <nlohmann/json.hpp>
#include <string>

#include "SdkTestEnvironment.h"
#include "emulator/Emulator.h"

namespace tavo {
namespace {

using json = nlohmann::json;

// The views of a tree (depth first) whose "class" is className.
void collect(const json& node, const std::string& className, std::vector<json>& found) {
  if (node.value("class", "") == className) found.push_back(node);
  if (const auto subviews = node.find("subviews"); subviews != node.end())
    for (const auto& child : *subviews) collect(child, className, found);
}

std::vector<json> viewsOf(const std::string& output, const std::string& label, const std::string& className) {
  const auto start = output.find(label + ": ");
  if (start == std::string::npos) return {};
  const auto end = output.find('\n', start);
  const json tree =
      json::parse(output.substr(start + label.size() + 2, end - start - label.size() - 2), nullptr, false);
  std::vector<json> found;
  if (tree.is_object())
    for (const auto& window : tree["windows"]) collect(window, className, found);
  return found;
}

TEST(CInAppHostProcess, ShowsItsScreenGetsAStartViewAndClosesItWithItsButton) {
  emulator::Emulator emulator;
  testing::TemporaryDirectory data;
  const std::string png = data.path() + "/start-view.png";
  const std::string command = std::string(TAVO_C_INAPP_HOST_PATH) + " '" + data.path() + "/sdk' '" +
                              emulator.baseURL() + "' '" + png + "' 2>&1";
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
  EXPECT_NE(output.find("listener: closed {\"type\":2,\"id\":501"), std::string::npos) << output;

  bool screenEvent = false;
  for (const auto& request : emulator.requests())
    for (std::size_t i = 0; i < request.operations.size(); ++i)
      if (const auto* params = request.params(i); params && params->contains("attributes"))
        screenEvent = screenEvent || (*params)["attributes"].value("e_screen_name", "") == "HomeScreen";
  EXPECT_TRUE(screenEvent);
  emulator::InAppLedger::Entry startView;
  for (const auto& entry : emulator.inAppEntries())
    if (entry.campaignType == 2 && entry.campaignId == "501") startView = entry;
  EXPECT_EQ(startView.checks, 1);
  EXPECT_EQ(startView.impressions, 1);
  EXPECT_EQ(startView.clicks, 0);  // the close button is not the page
}

}  // namespace
}  // namespace tavo
