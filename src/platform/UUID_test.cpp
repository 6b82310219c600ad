#include "platform/UUID.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "platform/Exception.h"

namespace tavo::platform {
namespace {

constexpr const char* kDnsNamespace = "6ba7b810-9dad-11d1-80b4-00c04fd430c8";

// Canonical upper-case 8-4-4-4-12 text with the given version and the RFC 4122 variant.
void expectCanonical(const std::string& text, char version) {
  ASSERT_EQ(text.size(), 36u) << text;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (i == 8 || i == 13 || i == 18 || i == 23) {
      EXPECT_EQ(text[i], '-') << text;
    } else {
      EXPECT_TRUE((text[i] >= '0' && text[i] <= '9') || (text[i] >= 'A' && text[i] <= 'F')) << text;
    }
  }
  EXPECT_EQ(text[14], version) << text;
  EXPECT_NE(std::string("89AB").find(text[19]), std::string::npos) << text;
}

TEST(RandomUUID, CanonicalVersion4WithRandomBitsEverywhereElseAndNoRepeatsAcrossThreads) {
  constexpr int kThreads = 4;
  constexpr int kPerThread = 2000;
  std::mutex mutex;
  std::set<std::string> seen;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&] {
      std::vector<std::string> mine;
      for (int i = 0; i < kPerThread; ++i) mine.push_back(UUID::randomUUIDString());
      std::lock_guard lock(mutex);
      seen.insert(mine.begin(), mine.end());
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(seen.size(), static_cast<std::size_t>(kThreads * kPerThread));
  // A generator stuck on some bytes (a bad seed, a short read) shows up as a position that never changes.
  const std::string& first = *seen.begin();
  std::vector<bool> changed(first.size(), false);
  for (const std::string& next : seen) {
    expectCanonical(next, '4');
    for (std::size_t j = 0; j < next.size(); ++j) changed[j] = changed[j] || next[j] != first[j];
  }
  for (std::size_t j = 0; j < first.size(); ++j) {
    const bool fixed = j == 8 || j == 13 || j == 14 || j == 18 || j == 23;
    EXPECT_EQ(changed[j], !fixed) << "position " << j;
  }
}

TEST(RandomUUID, AForkedChildDoesNotRepeatItsParentsIdentifiers) {
  // The generator is per thread and seeded once: a child that went on with its parent's state would make
  // the very identifiers the parent makes next.
  UUID::randomUUIDString();  // seeded before the fork
  int channel[2];
  ASSERT_EQ(pipe(channel), 0);
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    const std::string mine = UUID::randomUUIDString();
    const ssize_t written = write(channel[1], mine.data(), mine.size());
    _exit(written == static_cast<ssize_t>(mine.size()) ? 0 : 1);
  }
  close(channel[1]);
  const std::string parents = UUID::randomUUIDString();
  std::string childs(36, '\0');
  ASSERT_EQ(read(channel[0], childs.data(), childs.size()), 36);
  close(channel[0]);
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  expectCanonical(childs, '4');
  EXPECT_NE(childs, parents);
}

TEST(NameBasedUUID, MatchesKnownVectorsIncludingTheHashPaddingEdges) {
  // Namespace (16 bytes) + name fills 56 and 64 bytes (the padding edges) and several 64-byte blocks.
  const std::pair<std::string, const char*> vectors[] = {
      {"www.example.com", "2ED6657D-E927-568B-95E1-2665A8AEA6A2"},
      {std::string(40, 'a'), "39F39C20-DB47-5131-8879-62F8F67F9014"},
      {std::string(48, 'a'), "7280CC42-274A-5C4A-91FC-AE23F853EEB7"},
      {std::string(200, 'b'), "74678596-6C70-5563-8444-3AD77191F2E0"}};
  for (const auto& [name, expected] : vectors)
    EXPECT_EQ(UUID::nameBasedUUIDString(kDnsNamespace, name), expected) << name;
  // The namespace's letter case does not matter; its value does.
  EXPECT_EQ(UUID::nameBasedUUIDString("6BA7B810-9DAD-11D1-80B4-00C04FD430C8", "www.example.com"), vectors[0].second);
  EXPECT_NE(UUID::nameBasedUUIDString("6ba7b811-9dad-11d1-80b4-00c04fd430c8", "www.example.com"), vectors[0].second);
}

TEST(NameBasedUUID, RejectsMalformedNamespace) {
  for (const char* bad : {"6ba7b810-9dad-11d1-80b4-00c04fd430c", "6ba7b810x9dad-11d1-80b4-00c04fd430c8"})
    EXPECT_THROW(UUID::nameBasedUUIDString(bad, "x"), Exception) << bad;
}

}  // namespace
}  // namespace tavo::platform
