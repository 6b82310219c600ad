#include "platform/FakeHttpClient.h"

#include <gtest/gtest.h>

#include <atomic>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "platform/OperationQueue.h"

namespace tavo::platform {
namespace {

HttpRequest requestTo(std::string url) {
  HttpRequest r;
  r.url = std::move(url);
  return r;
}

TEST(FakeHttpClientTest, HeldAnswersWaitForReleaseAndArriveOnceInOrderOnTheQueue) {
  auto queue = std::make_shared<OperationQueue>();
  FakeHttpClient client(queue);
  client.hold();
  std::mutex mutex;
  std::vector<std::string> delivered;
  std::atomic<bool> offQueue{false};

  std::vector<std::thread> senders;
  for (int t = 0; t < 4; ++t) {
    senders.emplace_back([&, t] {
      for (int i = 0; i < 25; ++i) {
        client.send(requestTo("http://a/" + std::to_string(t) + "/" + std::to_string(i)),
                    [&, t, i](std::optional<HttpResponse> response, std::optional<HttpError>) {
                      if (!queue->isCurrentQueue()) offQueue = true;
                      std::lock_guard lock(mutex);
                      delivered.push_back(response ? std::to_string(t) + "/" + std::to_string(i) : "error");
                    });
      }
    });
  }
  for (auto& sender : senders) sender.join();
  queue->waitUntilAllOperationsAreFinished();
  EXPECT_EQ(client.requestCount(), 100u);
  {
    std::lock_guard lock(mutex);
    EXPECT_TRUE(delivered.empty()) << "an answer escaped the hold";
  }

  client.release();
  queue->waitUntilAllOperationsAreFinished();
  EXPECT_FALSE(offQueue.load());
  std::lock_guard lock(mutex);
  ASSERT_EQ(delivered.size(), 100u);
  EXPECT_EQ(std::set<std::string>(delivered.begin(), delivered.end()).size(), 100u);
  // Per sender, answers keep the order of its requests.
  std::map<char, int> next;
  for (const auto& entry : delivered) {
    ASSERT_NE(entry, "error");
    EXPECT_EQ(std::stoi(entry.substr(2)), next[entry[0]]++) << entry;
  }
}

}  // namespace
}  // namespace tavo::platform
