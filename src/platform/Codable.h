#pragma once

#include <string>
#include <vector>

namespace tavo::platform {

class KeyedArchiver;
class KeyedUnarchiver;

// An object the keyed archiver can store: it names its class and codes its state by key.
// Decoding makes a fresh instance through the ClassRegistry (by class name), then calls initWithCoder.
class Codable {
 public:
  virtual ~Codable() = default;

  // The class name written into an archive and looked up in the ClassRegistry when decoding.
  virtual std::string className() const = 0;
  // The class names this object is a kind of, most derived first, for class checks and "$classes".
  virtual std::vector<std::string> classHierarchy() const { return {className(), "NSObject"}; }
  bool isKindOfClass(const std::string& name) const;

  virtual void encodeWithCoder(KeyedArchiver& coder) const = 0;
  virtual void initWithCoder(KeyedUnarchiver& coder) = 0;
};

}  // namespace tavo::platform
