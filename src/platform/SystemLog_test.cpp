#include "platform/SystemLog.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <thread>
#include <vector>

namespace tavo::platform {
namespace {

TEST(SystemLog, LinesGoToTheHandlerWithoutNewlineOrElseToStderr) {
  SystemLog log;
  std::vector<std::string> lines;
  log.setHandler([&](const std::string& line) { lines.push_back(line); });
  testing::internal::CaptureStderr();
  log.write("");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  EXPECT_EQ(lines, (std::vector<std::string>{""}));

  log.setHandler(nullptr);
  testing::internal::CaptureStderr();
  log.write("back");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "back\n");
  EXPECT_EQ(lines.size(), 1u);
}

TEST(SystemLog, LinesFromManyThreadsArriveWholeAndOneAtATime) {
  SystemLog log;
  // The handler writes a character at a time without a lock: overlapping calls would mix lines (and race).
  std::string transcript;
  log.setHandler([&](const std::string& line) {
    for (char c : line) transcript.push_back(c);
    transcript.push_back('\n');
  });
  constexpr int kThreads = 6;
  constexpr int kLines = 300;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&log, t] {
      const std::string line = "thread-" + std::to_string(t) + "-" + std::string(40, static_cast<char>('a' + t));
      for (int i = 0; i < kLines; ++i) log.write(line);
    });
  }
  for (auto& thread : threads) thread.join();

  std::map<std::string, int> counts;
  std::size_t start = 0;
  for (std::size_t end; (end = transcript.find('\n', start)) != std::string::npos; start = end + 1) {
    ++counts[transcript.substr(start, end - start)];
  }
  ASSERT_EQ(counts.size(), static_cast<std::size_t>(kThreads));
  for (int t = 0; t < kThreads; ++t) {
    EXPECT_EQ(counts["thread-" + std::to_string(t) + "-" + std::string(40, static_cast<char>('a' + t))], kLines);
  }
}

}  // namespace
}  // namespace tavo::platform
