#include <gtest/gtest.h>
#include <stdlib.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>
#include <thread>

#include "platform/DiskFileSystem.h"
#include "platform/InMemoryFileSystem.h"

namespace tavo::platform {
namespace {

namespace fs = std::filesystem;

class FileSystemTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = (fs::temp_directory_path() / "tavo-files-XXXXXX").string();
    ASSERT_TRUE(::mkdtemp(pattern.data()));
    base_ = pattern;
  }
  void TearDown() override { fs::remove_all(base_); }

  std::size_t entriesIn(const fs::path& dir) const {
    return static_cast<std::size_t>(std::distance(fs::directory_iterator(dir), fs::directory_iterator()));
  }

  fs::path base_;
};

TEST_F(FileSystemTest, AtomicWritesReplaceContentAndLeaveNoTemporaryFiles) {
  const DiskFileSystem files((base_ / "app" / "data").string());  // made with its Documents directory
  ASSERT_EQ(fs::path(files.documentsDirectory()), base_ / "app" / "data" / "Documents");
  ASSERT_TRUE(fs::is_directory(files.documentsDirectory()));
  const std::string path = files.documentsDirectory() + "/state.bin";
  ASSERT_TRUE(files.writeAtomically(path, Data(1000, 'a')));
  ASSERT_TRUE(files.writeAtomically(path, Data{1, 2, 3}));
  EXPECT_EQ(files.contentsAtPath(path), (Data{1, 2, 3}));

  EXPECT_FALSE(files.writeAtomically(files.documentsDirectory() + "/missing/dir/file", Data{1}));
  EXPECT_FALSE(files.writeAtomically(files.documentsDirectory(), Data{1}));  // a directory is in the way
  EXPECT_EQ(entriesIn(files.documentsDirectory()), 1u);
  EXPECT_EQ(entriesIn(files.dataDirectory()), 1u);  // just Documents: the failed temporary is gone too
}

TEST_F(FileSystemTest, ReadersNeverSeeAHalfWrittenFile) {
  const DiskFileSystem files(base_.string());
  const std::string path = files.dataDirectory() + "/swap.bin";
  const Data small(64 * 1024, 'a');
  const Data large(256 * 1024, 'b');
  ASSERT_TRUE(files.writeAtomically(path, small));
  std::atomic<bool> done{false};
  std::atomic<int> torn{0};
  std::thread reader([&] {
    while (!done) {
      const auto seen = files.contentsAtPath(path);
      if (!seen || (*seen != small && *seen != large)) ++torn;
    }
  });
  for (int i = 0; i < 40; ++i) ASSERT_TRUE(files.writeAtomically(path, i % 2 ? small : large));
  done = true;
  reader.join();
  EXPECT_EQ(torn, 0);
}

// The in-memory files of the tests must behave as the disk does, or tests pass on files no host has.
TEST_F(FileSystemTest, PropertyListFilesRoundTripAndBadOnesReadAsAbsent) {
  const DiskFileSystem disk(base_.string());
  const InMemoryFileSystem memory;
  for (const FileSystem* files : {static_cast<const FileSystem*>(&disk), static_cast<const FileSystem*>(&memory)}) {
    const std::string path = files->dataDirectory() + "/seen.plist";
    const Value seen = Dictionary{{"ids", Array{"a", "b"}}, {"at", Date(1700000000.75)}};
    ASSERT_TRUE(files->writePropertyList(seen, path));
    EXPECT_EQ(files->readPropertyList(path), seen);
    EXPECT_FALSE(files->writePropertyList(Array{Value()}, path));           // the null object has no plist form
    EXPECT_EQ(files->readPropertyList(path), seen);                         // and the old file is untouched
    EXPECT_FALSE(files->writeAtomically(files->dataDirectory(), Data{1}));  // a directory is in the way

    ASSERT_TRUE(files->writeAtomically(path, Data{'b', 'p', 'l', 'i', 's', 't', '0', '0', 9}));
    EXPECT_EQ(files->readPropertyList(path), std::nullopt);
    EXPECT_EQ(files->readPropertyList(files->dataDirectory() + "/none.plist"), std::nullopt);
    EXPECT_TRUE(files->removeItemAtPath(path));
    EXPECT_FALSE(files->fileExistsAtPath(path));
  }
}

// Restores an environment variable when the test ends.
class ScopedEnv {
 public:
  ScopedEnv(const char* name, const char* value) : name_(name) {
    if (const char* old = std::getenv(name)) old_ = old;
    value ? ::setenv(name, value, 1) : ::unsetenv(name);
  }
  ~ScopedEnv() { old_ ? ::setenv(name_, old_->c_str(), 1) : ::unsetenv(name_); }

 private:
  const char* name_;
  std::optional<std::string> old_;
};

TEST(FileSystem, DefaultDataDirectoryFollowsXdgThenHome) {
  ScopedEnv home("HOME", "/home/ada");
  {
    ScopedEnv xdg("XDG_DATA_HOME", "/data/ada");
    EXPECT_EQ(DiskFileSystem::defaultDataDirectory("com.example.app"), "/data/ada/com.example.app");
  }
  ScopedEnv xdg("XDG_DATA_HOME", "relative/is/ignored");
  EXPECT_EQ(DiskFileSystem::defaultDataDirectory("com.example.app"), "/home/ada/.local/share/com.example.app");
}

}  // namespace
}  // namespace tavo::platform
