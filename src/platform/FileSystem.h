#pragma once

#include <optional>
#include <string>

#include "tavo/platform/Value.h"

namespace tavo::platform {

// The application's files: a data directory (the store lives here) and a Documents directory inside it.
class FileSystem {
 public:
  // root is the application's data directory; it and root/Documents are created when missing.
  explicit FileSystem(std::string root);

  const std::string& dataDirectory() const { return root_; }
  std::string documentsDirectory() const;  // root + "/Documents"

  std::optional<Data> contentsAtPath(const std::string& path) const;
  // Writes through a temporary file in the same directory and renames it over path, so a reader sees
  // the old or the new content, never half of it. false on any failure.
  bool writeAtomically(const std::string& path, const Data& data) const;
  bool fileExistsAtPath(const std::string& path) const;
  bool removeItemAtPath(const std::string& path) const;

  // A property-list file read as a Value (nullopt when missing or unreadable) and written atomically
  // (binary format).
  std::optional<Value> readPropertyList(const std::string& path) const;
  bool writePropertyList(const Value& value, const std::string& path) const;

  // A default data directory for this user and application: $XDG_DATA_HOME/<appId> or
  // ~/.local/share/<appId>.
  static std::string defaultDataDirectory(const std::string& appId);

 private:
  std::string root_;
};

}  // namespace tavo::platform
