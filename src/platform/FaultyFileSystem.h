#pragma once

#include <memory>
#include <optional>
#include <string>

#include "platform/FaultyStorage.h"
#include "platform/FileSystem.h"

namespace tavo::platform {

// Files over another FileSystem, failing as its FaultyStorage says: a failed write or removal changes nothing
// and returns false; a damaged read returns torn bytes.
class FaultyFileSystem final : public FileSystem {
 public:
  FaultyFileSystem(std::shared_ptr<FileSystem> files, std::shared_ptr<FaultyStorage> faults);

  const std::string& dataDirectory() const override { return files_->dataDirectory(); }
  std::optional<Data> contentsAtPath(const std::string& path) const override;
  [[nodiscard]] bool writeAtomically(const std::string& path, const Data& data) const override;
  bool fileExistsAtPath(const std::string& path) const override { return files_->fileExistsAtPath(path); }
  [[nodiscard]] bool removeItemAtPath(const std::string& path) const override;

 private:
  const std::shared_ptr<FileSystem> files_;
  const std::shared_ptr<FaultyStorage> faults_;
};

}  // namespace tavo::platform
