#pragma once

#include <map>
#include <optional>
#include <string>

#include "platform/FileSystem.h"
#include "platform/Mutex.h"

namespace tavo::platform {

// Files that live as long as the object, under a data directory that exists nowhere on disk. Directories
// exist implicitly: a path is a directory when a file lies under it.
class InMemoryFileSystem final : public FileSystem {
 public:
  explicit InMemoryFileSystem(std::string root = "/in-memory");

  const std::string& dataDirectory() const override { return root_; }
  std::optional<Data> contentsAtPath(const std::string& path) const override;
  [[nodiscard]] bool writeAtomically(const std::string& path, const Data& data) const override;
  bool fileExistsAtPath(const std::string& path) const override;
  [[nodiscard]] bool removeItemAtPath(const std::string& path) const override;

 private:
  const std::string root_;
  mutable Mutex mutex_;
  mutable std::map<std::string, Data> files_ GUARDED_BY(mutex_);
};

}  // namespace tavo::platform
