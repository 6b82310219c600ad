#include "platform/NotificationCenter.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace tavo::platform {
namespace {

TEST(NotificationCenterTest, ObserversMayRemoveAddAndPostDuringADelivery) {
  NotificationCenter center;
  std::vector<std::string> heard;
  NotificationCenter::ObserverId self = 0;
  NotificationCenter::ObserverId later = 0;
  self = center.addObserver("n", [&](const Notification&) {
    heard.push_back("self");
    center.removeObserver(self);
    center.removeObserver(later);  // registered after this one: not called in this delivery either
    center.addObserver("n", [&](const Notification&) { heard.push_back("added"); });  // hears the next one
    center.postNotification("inner");
  });
  later = center.addObserver("n", [&](const Notification&) { heard.push_back("later"); });
  center.addObserver("inner", [&](const Notification& n) { heard.push_back(n.name); });
  center.postNotification("n");
  center.postNotification("n");
  EXPECT_EQ(heard, (std::vector<std::string>{"self", "inner", "added"}));
  center.removeObserver(self);  // already gone, and never known: ignored
  center.removeObserver(424242);
}

}  // namespace
}  // namespace tavo::platform
