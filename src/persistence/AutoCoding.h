#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/Codable.h"
#include "tavo/platform/Date.h"
#include "tavo/platform/Value.h"

namespace tavo {

// Base of the persisted models. A model lists its own properties once (name, expected class, how to read and
// write the member); AutoCoding archives and restores every listed property by its name, so a model declares
// data and nothing else. Members that are not listed (computed values) are never coded.
class AutoCoding : public platform::Codable, public std::enable_shared_from_this<AutoCoding> {
 public:
  struct Property {
    std::string name;
    std::string className;  // the class a decoded value must be a kind of ("NSObject" admits any)
    std::function<std::optional<platform::Value>(const AutoCoding&)> get;
    std::function<void(AutoCoding&, const platform::Value&)> set;
  };

  // The properties of this object's class and of each of its bases (a model adds its own to its base's list).
  virtual const std::vector<Property>& codableProperties() const = 0;

  // Every codable property with a value, under its name.
  platform::Dictionary dictionaryRepresentation() const;

  void encodeWithCoder(platform::KeyedArchiver& coder) const override;
  // Restores each property found in the archive; a value of the wrong class raises "AutocodingException".
  void initWithCoder(platform::KeyedUnarchiver& coder) override;
  void setWithCoder(platform::KeyedUnarchiver& coder);

  // A file holding a keyed archive is unarchived; any other property list is returned as it is.
  static std::optional<platform::Value> objectWithContentsOfFile(const std::string& path);
  // The object must be owned by a std::shared_ptr (models always are).
  [[nodiscard]] bool writeToFile(const std::string& path, bool atomically) const;

 protected:
  // Property descriptions for the common member types of models.
  template <class T>
  static Property property(std::string name, bool T::*member);
  template <class T>
  static Property property(std::string name, std::optional<std::string> T::*member);
  template <class T>
  static Property property(std::string name, std::optional<double> T::*member);
  template <class T>
  static Property property(std::string name, std::optional<platform::Date> T::*member);
  template <class T>
  static Property property(std::string name, std::optional<platform::Dictionary> T::*member);
  template <class T>
  static Property property(std::string name, std::string className, std::optional<platform::Value> T::*member);

  // Appends more properties to a base's list, for a derived model's codableProperties.
  static std::vector<Property> extend(std::vector<Property> base, std::vector<Property> own);
};

template <class T>
AutoCoding::Property AutoCoding::property(std::string name, bool T::*member) {
  return {std::move(name), "NSNumber",
          [member](const AutoCoding& o) { return std::optional<platform::Value>(static_cast<const T&>(o).*member); },
          [member](AutoCoding& o, const platform::Value& v) { static_cast<T&>(o).*member = v.boolValue(); }};
}

template <class T>
AutoCoding::Property AutoCoding::property(std::string name, std::optional<std::string> T::*member) {
  return {std::move(name), "NSString",
          [member](const AutoCoding& o) -> std::optional<platform::Value> {
            const auto& s = static_cast<const T&>(o).*member;
            if (!s) return std::nullopt;
            return platform::Value(*s);
          },
          [member](AutoCoding& o, const platform::Value& v) { static_cast<T&>(o).*member = v.stringValue(); }};
}

template <class T>
AutoCoding::Property AutoCoding::property(std::string name, std::optional<double> T::*member) {
  return {std::move(name), "NSNumber",
          [member](const AutoCoding& o) -> std::optional<platform::Value> {
            const auto& d = static_cast<const T&>(o).*member;
            if (!d) return std::nullopt;
            return platform::Value(*d);
          },
          [member](AutoCoding& o, const platform::Value& v) { static_cast<T&>(o).*member = v.doubleValue(); }};
}

template <class T>
AutoCoding::Property AutoCoding::property(std::string name, std::optional<platform::Date> T::*member) {
  return {std::move(name), "NSDate",
          [member](const AutoCoding& o) -> std::optional<platform::Value> {
            const auto& d = static_cast<const T&>(o).*member;
            if (!d) return std::nullopt;
            return platform::Value(*d);
          },
          [member](AutoCoding& o, const platform::Value& v) {
            if (const auto* d = v.asDate()) static_cast<T&>(o).*member = *d;
          }};
}

template <class T>
AutoCoding::Property AutoCoding::property(std::string name, std::optional<platform::Dictionary> T::*member) {
  return {std::move(name), "NSDictionary",
          [member](const AutoCoding& o) -> std::optional<platform::Value> {
            const auto& d = static_cast<const T&>(o).*member;
            if (!d) return std::nullopt;
            return platform::Value(*d);
          },
          [member](AutoCoding& o, const platform::Value& v) {
            if (const auto* d = v.asDictionary()) static_cast<T&>(o).*member = *d;
          }};
}

template <class T>
AutoCoding::Property AutoCoding::property(std::string name, std::string className,
                                          std::optional<platform::Value> T::*member) {
  return {std::move(name), std::move(className),
          [member](const AutoCoding& o) { return static_cast<const T&>(o).*member; },
          [member](AutoCoding& o, const platform::Value& v) { static_cast<T&>(o).*member = v; }};
}

}  // namespace tavo
