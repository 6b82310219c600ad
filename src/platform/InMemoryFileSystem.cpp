#include "platform/InMemoryFileSystem.h"

#include <utility>

#include "platform/MutexLock.h"

namespace tavo::platform {

namespace {

// The first path under directory in a map ordered by path: "dir/" sorts right before everything inside.
template <class Map>
auto firstUnder(Map& files, const std::string& directory) {
  return files.lower_bound(directory + "/");
}

bool isUnder(const std::string& path, const std::string& directory) {
  return path.size() > directory.size() && path.compare(0, directory.size(), directory) == 0 &&
         path[directory.size()] == '/';
}

}  // namespace

InMemoryFileSystem::InMemoryFileSystem(std::string root) : root_(std::move(root)) {}

std::optional<Data> InMemoryFileSystem::contentsAtPath(const std::string& path) const {
  MutexLock lock(mutex_);
  const auto found = files_.find(path);
  if (found == files_.end()) return std::nullopt;
  return found->second;
}

bool InMemoryFileSystem::writeAtomically(const std::string& path, const Data& data) const {
  MutexLock lock(mutex_);
  // A directory cannot be replaced by a file.
  if (path.empty() || path.back() == '/') return false;
  const auto under = firstUnder(files_, path);
  if (under != files_.end() && isUnder(under->first, path)) return false;
  files_[path] = data;
  return true;
}

bool InMemoryFileSystem::fileExistsAtPath(const std::string& path) const {
  MutexLock lock(mutex_);
  if (files_.count(path) > 0) return true;
  const auto under = firstUnder(files_, path);
  return under != files_.end() && isUnder(under->first, path);
}

bool InMemoryFileSystem::removeItemAtPath(const std::string& path) const {
  MutexLock lock(mutex_);
  bool removed = files_.erase(path) > 0;
  for (auto it = firstUnder(files_, path); it != files_.end() && isUnder(it->first, path);) {
    it = files_.erase(it);
    removed = true;
  }
  return removed;
}

}  // namespace tavo::platform
