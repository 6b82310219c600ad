#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "platform/Codable.h"
#include "platform/Exception.h"
#include "platform/InMemoryUserDefaults.h"
#include "platform/SqliteUserDefaults.h"

namespace tavo::platform {
namespace {

namespace fs = std::filesystem;

class UserDefaultsFile : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = (fs::temp_directory_path() / "tavo-defaults-XXXXXX").string();
    ASSERT_TRUE(::mkdtemp(pattern.data()));
    dir_ = pattern;
    path_ = (dir_ / "Library" / "Preferences" / "defaults.sqlite").string();  // parents do not exist yet
  }
  void TearDown() override { fs::remove_all(dir_); }

  static bool throwsOpenFailed(const std::string& path) {
    try {
      SqliteUserDefaults defaults(path);
    } catch (const Exception& e) {
      return e.name() == "UserDefaultsOpenFailed";
    }
    return false;
  }

  fs::path dir_;
  std::string path_;
};

struct Token : Codable {
  std::string className() const override { return "Token"; }
  void encodeWithCoder(KeyedArchiver&) const override {}
  void initWithCoder(KeyedUnarchiver&) override {}
};

// The in-memory store of the tests must refuse what the real one refuses, or tests pass on a store no host has.
TEST(UserDefaults, ValuesWithoutPropertyListFormAreRefusedAndTheOldValueStays) {
  SqliteUserDefaults sqlite(":memory:");
  InMemoryUserDefaults inMemory;
  for (UserDefaults* defaults : {static_cast<UserDefaults*>(&sqlite), static_cast<UserDefaults*>(&inMemory)}) {
    ASSERT_TRUE(defaults->setObject("old", "k"));
    // The null object and objects are refused, and the old value stays.
    EXPECT_FALSE(defaults->setObject(Value(), "k"));
    EXPECT_FALSE(defaults->setObject(Value(std::shared_ptr<Codable>(std::make_shared<Token>())), "k"));
    EXPECT_FALSE(defaults->setObject(Array{1, Value()}, "k"));
    EXPECT_EQ(defaults->objectForKey("k"), Value("old"));
  }
}

TEST_F(UserDefaultsFile, WritesAreSharedWithASecondStoreAndSurviveReopening) {
  {
    SqliteUserDefaults first(path_);
    SqliteUserDefaults second(path_);
    ASSERT_TRUE(first.setObject(Dictionary{{"id", 7}, {"at", Date(1700000000.5)}}, "user"));
    ASSERT_TRUE(first.setObject("gone soon", "temp"));
    EXPECT_EQ(second.objectForKey("user"), Value(Dictionary{{"id", 7}, {"at", Date(1700000000.5)}}));
    ASSERT_TRUE(second.removeObjectForKey("temp"));
    EXPECT_EQ(first.objectForKey("temp"), std::nullopt);
  }
  SqliteUserDefaults reopened(path_);
  EXPECT_EQ(reopened.objectForKey("user"), Value(Dictionary{{"id", 7}, {"at", Date(1700000000.5)}}));
  EXPECT_EQ(reopened.objectForKey("temp"), std::nullopt);
}

// A read that writes back what it found must not undo a write that came in between, from any connection.
TEST_F(UserDefaultsFile, AConditionalWriteStoresOnlyOverWhatItExpects) {
  SqliteUserDefaults sqliteReader(path_);
  SqliteUserDefaults sqliteWriter(path_);
  InMemoryUserDefaults inMemory;
  for (auto [reader, writer] : {std::pair<UserDefaults*, UserDefaults*>{&sqliteReader, &sqliteWriter},
                                std::pair<UserDefaults*, UserDefaults*>{&inMemory, &inMemory}}) {
    ASSERT_TRUE(writer->setObject("written", "k"));
    EXPECT_FALSE(reader->setObjectIfUnchanged("read back", "k", std::nullopt));
    EXPECT_FALSE(reader->setObjectIfUnchanged("read back", "k", Value("other")));
    EXPECT_EQ(writer->objectForKey("k"), Value("written"));
    EXPECT_TRUE(reader->setObjectIfUnchanged("read back", "k", Value("written")));
    EXPECT_TRUE(reader->setObjectIfUnchanged("first", "absent", std::nullopt));
    EXPECT_EQ(writer->objectForKey("k"), Value("read back"));
    EXPECT_EQ(writer->objectForKey("absent"), Value("first"));
  }
}

TEST_F(UserDefaultsFile, ARowThatIsNotAPropertyListReadsAsAbsent) {
  {
    SqliteUserDefaults defaults(path_);
    ASSERT_TRUE(defaults.setObject(1, "good"));
  }
  sqlite3* db = nullptr;
  ASSERT_EQ(sqlite3_open(path_.c_str(), &db), SQLITE_OK);
  ASSERT_EQ(sqlite3_exec(db, "INSERT INTO defaults VALUES ('bad', x'00ff10'), ('empty', x''), ('text', 'bplist00')",
                         nullptr, nullptr, nullptr),
            SQLITE_OK);
  sqlite3_close(db);
  SqliteUserDefaults defaults(path_);
  for (const char* key : {"bad", "empty", "text"}) EXPECT_EQ(defaults.objectForKey(key), std::nullopt) << key;
  EXPECT_EQ(defaults.objectForKey("good"), Value(1));
}

TEST_F(UserDefaultsFile, ConcurrentWritersOnTwoStoresLoseNothing) {
  SqliteUserDefaults first(path_);
  SqliteUserDefaults second(path_);
  constexpr int kThreads = 4;
  constexpr int kWrites = 10;
  std::vector<int> failures(kThreads, 0);
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      SqliteUserDefaults& store = t % 2 ? second : first;
      for (int i = 0; i < kWrites; ++i) {
        const std::string key = "t" + std::to_string(t) + "-" + std::to_string(i);
        if (!store.setObject(Array{t, i}, key) || store.objectForKey(key) != Value(Array{t, i})) ++failures[t];
        if (!store.setObject(i, "shared")) ++failures[t];  // every thread fights over one row too
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(failures, std::vector<int>(kThreads, 0));
  SqliteUserDefaults check(path_);
  for (int t = 0; t < kThreads; ++t)
    for (int i = 0; i < kWrites; ++i)
      EXPECT_EQ(check.objectForKey("t" + std::to_string(t) + "-" + std::to_string(i)), Value(Array{t, i}));
  EXPECT_EQ(check.objectForKey("shared"), Value(kWrites - 1));
}

TEST_F(UserDefaultsFile, UnopenablePathsThrowOpenFailed) {
  const fs::path plainFile = dir_ / "plain";
  std::ofstream(plainFile) << "not a directory";
  EXPECT_TRUE(throwsOpenFailed((plainFile / "defaults.sqlite").string()));
  EXPECT_TRUE(throwsOpenFailed(dir_.string()));       // a directory, not a database
  EXPECT_TRUE(throwsOpenFailed(plainFile.string()));  // a file, but not a database
  if (::geteuid() != 0) {                             // root writes anywhere
    const fs::path locked = dir_ / "locked";
    fs::create_directory(locked);
    ::chmod(locked.c_str(), 0500);
    EXPECT_TRUE(throwsOpenFailed((locked / "sub" / "defaults.sqlite").string()));
    ::chmod(locked.c_str(), 0700);
  }
}

}  // namespace
}  // namespace tavo::platform
