#include "persistence/AutoCoding.h"

#include "core/Exception.h"
#include "core/StringFormat.h"
#include "platform/KeyedArchiver.h"
#include "platform/KeyedUnarchiver.h"
#include "platform/Platform.h"
#include "platform/PropertyListSerialization.h"

namespace tavo {

using platform::Value;

platform::Dictionary AutoCoding::dictionaryRepresentation() const {
  platform::Dictionary out;
  for (const auto& p : codableProperties())
    if (auto v = p.get(*this)) out.set(p.name, std::move(*v));
  return out;
}

void AutoCoding::encodeWithCoder(platform::KeyedArchiver& coder) const {
  for (const auto& p : codableProperties())
    if (auto v = p.get(*this)) coder.encodeObject(*v, p.name);
}

void AutoCoding::initWithCoder(platform::KeyedUnarchiver& coder) { setWithCoder(coder); }

void AutoCoding::setWithCoder(platform::KeyedUnarchiver& coder) {
  for (const auto& p : codableProperties()) {
    const std::optional<Value> v = coder.requiresSecureCoding() ? coder.decodeObjectOfClass(p.className, p.name)
                                                                : coder.decodeObjectForKey(p.name);
    if (!v) continue;
    if (!platform::KeyedUnarchiver::classMatches(*v, p.className)) {
      throw Exception("AutocodingException", StringFormat::format("Expected '%@' to be a %@, but was actually a %@",
                                                                  p.name, p.className, v->className()));
    }
    p.set(*this, *v);
  }
}

std::optional<Value> AutoCoding::objectWithContentsOfFile(const std::string& path) {
  const auto data = platform::Platform::shared().fileSystem->contentsAtPath(path);
  if (!data) return std::nullopt;
  try {
    // Keyed archives hold UID references, which a plain property-list read refuses: try the archive first.
    return platform::KeyedUnarchiver::unarchiveObjectWithData(*data);
  } catch (const Exception&) {
    return platform::PropertyListSerialization::propertyListWithData(*data);
  }
}

bool AutoCoding::writeToFile(const std::string& path, bool atomically) const {
  const auto self = std::const_pointer_cast<AutoCoding>(shared_from_this());
  const platform::Data data =
      platform::KeyedArchiver::archivedDataWithRootObject(Value(std::shared_ptr<platform::Codable>(self)));
  (void)atomically;  // every file write of the platform is atomic
  return platform::Platform::shared().fileSystem->writeAtomically(path, data);
}

std::vector<AutoCoding::Property> AutoCoding::extend(std::vector<Property> base, std::vector<Property> own) {
  base.insert(base.end(), std::make_move_iterator(own.begin()), std::make_move_iterator(own.end()));
  return base;
}

}  // namespace tavo
