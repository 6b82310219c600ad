#include "platform/FileSystem.h"

#include <filesystem>

#include "platform/PropertyListSerialization.h"

namespace tavo::platform {

std::string FileSystem::documentsDirectory() const {
  return (std::filesystem::path(dataDirectory()) / "Documents").string();
}

std::optional<Value> FileSystem::readPropertyList(const std::string& path) const {
  const auto data = contentsAtPath(path);
  if (!data) return std::nullopt;
  return PropertyListSerialization::propertyListWithData(*data);
}

bool FileSystem::writePropertyList(const Value& value, const std::string& path) const {
  const auto data = PropertyListSerialization::dataWithPropertyList(value, PropertyListSerialization::Format::Binary);
  return data && writeAtomically(path, *data);
}

}  // namespace tavo::platform
