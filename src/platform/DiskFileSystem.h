#pragma once

#include <optional>
#include <string>

#include "platform/FileSystem.h"

namespace tavo::platform {

// The application's files on the machine's disk. Atomic writes go through a temporary file in the same
// directory, synced and renamed over the target, and the directory is synced after the rename.
class DiskFileSystem final : public FileSystem {
 public:
  // root is the application's data directory; it and root/Documents are created when missing.
  explicit DiskFileSystem(std::string root);

  const std::string& dataDirectory() const override { return root_; }
  std::optional<Data> contentsAtPath(const std::string& path) const override;
  [[nodiscard]] bool writeAtomically(const std::string& path, const Data& data) const override;
  bool fileExistsAtPath(const std::string& path) const override;
  [[nodiscard]] bool removeItemAtPath(const std::string& path) const override;

  // A default data directory for this user and application: $XDG_DATA_HOME/<appId> or
  // ~/.local/share/<appId>.
  static std::string defaultDataDirectory(const std::string& appId);

 private:
  const std::string root_;
};

}  // namespace tavo::platform
