#pragma once

#include <optional>
#include <string>

#include "tavo/platform/Value.h"

namespace tavo::platform {

// The application's files: a data directory (the store lives here) and a Documents directory inside it.
// Safe to use from any thread. A write that returns true is durable; false means it did not happen (a full
// disk, a missing directory) and the old content, if any, is still there. Nothing here logs: the caller
// knows what was lost and says so.
class FileSystem {
 public:
  virtual ~FileSystem() = default;

  virtual const std::string& dataDirectory() const = 0;
  std::string documentsDirectory() const;  // dataDirectory() + "/Documents"

  // The whole file; nullopt when it is missing, not a regular file or unreadable.
  virtual std::optional<Data> contentsAtPath(const std::string& path) const = 0;
  // Replaces the file at path with data so that a reader sees the old or the new content, never half of it.
  [[nodiscard]] virtual bool writeAtomically(const std::string& path, const Data& data) const = 0;
  virtual bool fileExistsAtPath(const std::string& path) const = 0;
  // Removes the file or the directory with everything in it; false when nothing was there or it stayed.
  [[nodiscard]] virtual bool removeItemAtPath(const std::string& path) const = 0;

  // A property-list file read as a Value (nullopt when missing or unreadable) and written atomically
  // (binary format).
  std::optional<Value> readPropertyList(const std::string& path) const;
  [[nodiscard]] bool writePropertyList(const Value& value, const std::string& path) const;
};

}  // namespace tavo::platform
