#pragma once

#include <optional>
#include <string>

#include "tavo/platform/Value.h"

namespace tavo::platform {

// The durable key/value store of the application ("user defaults"): property-list Values by key (no
// archivable objects; archive them into Data first). Safe to use from any thread. A write that returns true
// has reached durable storage, so a process killed right after loses nothing; false means it did not happen
// (a full disk, a file gone read-only) and the store holds what it held before. The store does not log: the
// caller knows what was lost and says so.
class UserDefaults {
 public:
  virtual ~UserDefaults() = default;

  // nullopt when nothing is stored under key, or when what is stored cannot be read.
  virtual std::optional<Value> objectForKey(const std::string& key) const = 0;
  // Stores value under key (replacing). false when nothing was stored: a Value holding an object has no
  // property-list form, or the write failed.
  [[nodiscard]] virtual bool setObject(const Value& value, const std::string& key) = 0;
  // Stores value under key only while key still holds expected (nullopt: nothing), in one step that no other
  // writer, thread or process, can split; returns whether it stored. For a read that writes back what it
  // read, which must never undo a write made in between.
  virtual bool setObjectIfUnchanged(const Value& value, const std::string& key,
                                    const std::optional<Value>& expected) = 0;
  // false when the write failed (the key may still be there); removing an absent key succeeds.
  [[nodiscard]] virtual bool removeObjectForKey(const std::string& key) = 0;
  // Every write is durable when it returns; kept for the platform's interface. true when the store can still
  // be written.
  [[nodiscard]] virtual bool synchronize() = 0;
};

}  // namespace tavo::platform
