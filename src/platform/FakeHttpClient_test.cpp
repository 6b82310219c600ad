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

TEST(FakeHttpClientTest, ScriptedAnswersComeFirstThenTheResponderThenTheDefault) {
  FakeHttpClient client;
  client.enqueueAnswer(FakeHttpClient::Answer::status(500, "down"));
  client.enqueueAnswer(FakeHttpClient::Answer::transportError(HttpError::TimedOut));
  std::vector<std::string> outcomes;
  const auto record = [&](std::optional<HttpResponse> response, std::optional<HttpError> error) {
    EXPECT_NE(response.has_value(), error.has_value());
    outcomes.push_back(response ? std::to_string(response->statusCode) + " " + response->body
                                : "error " + std::to_string(error->code));
  };

  client.send(requestTo("http://a/1"), record);
  client.send(requestTo("http://a/2"), record);
  client.send(requestTo("http://a/3"), record);
  client.setResponder([&](const HttpRequest& request) {
    // The responder may look at the client: it is not called under the client's lock.
    return FakeHttpClient::Answer::status(202, request.url + " #" + std::to_string(client.requestCount()));
  });
  client.send(requestTo("http://a/4"), record);

  EXPECT_EQ(outcomes, (std::vector<std::string>{"500 down", "error " + std::to_string(HttpError::TimedOut), "200 {}",
                                                "202 http://a/4 #4"}));
  const auto requests = client.requests();
  ASSERT_EQ(requests.size(), 4u);
  EXPECT_EQ(requests[0].url, "http://a/1");
  EXPECT_EQ(requests[3].url, "http://a/4");
  client.clear();
  EXPECT_EQ(client.requestCount(), 0u);
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
