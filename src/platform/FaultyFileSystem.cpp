#include "platform/FaultyFileSystem.h"

#include <utility>

namespace tavo::platform {

FaultyFileSystem::FaultyFileSystem(std::shared_ptr<FileSystem> files, std::shared_ptr<FaultyStorage> faults)
    : files_(std::move(files)), faults_(std::move(faults)) {}

std::optional<Data> FaultyFileSystem::contentsAtPath(const std::string& path) const {
  auto contents = files_->contentsAtPath(path);
  if (contents && faults_->takeReadDamage()) return FaultyStorage::damaged(*contents);
  return contents;
}

bool FaultyFileSystem::writeAtomically(const std::string& path, const Data& data) const {
  return !faults_->takeWriteFailure() && files_->writeAtomically(path, data);
}

bool FaultyFileSystem::removeItemAtPath(const std::string& path) const {
  return !faults_->takeWriteFailure() && files_->removeItemAtPath(path);
}

}  // namespace tavo::platform
