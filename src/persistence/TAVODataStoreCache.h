#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>

#include "platform/Mutex.h"
#include "tavo/platform/Value.h"

namespace tavo {

namespace platform {
class UserDefaults;
}

// What this process knows of its own store without reading it again, for the reads made on every tracked
// event or request: what the hot keys hold (decoded, or nothing) and the user-tracking flag.
// Only this process writes its store and every SDK write goes through TAVODataStoreController, which tells
// the cache after each write; a fresh process, or a new store object, starts knowing nothing and reads the
// store. A read remembers its result only if no write happened while it read. Callable from any thread.
class TAVODataStoreCache {
 public:
  // The keys whose decoded value is remembered.
  static bool isCachedKey(const std::string& key);
  static TAVODataStoreCache& shared();

  // Taken before reading the store; what the read finds is remembered only if no write came in between.
  using Ticket = std::uint64_t;
  Ticket beginRead(const std::shared_ptr<platform::UserDefaults>& store);

  // True when what key holds is known: value is then set to it (nullopt when it holds nothing). A value
  // holding objects shares them with every later recall: readers must not change them in place.
  bool recall(const std::shared_ptr<platform::UserDefaults>& store, const std::string& key,
              std::optional<platform::Value>& value);
  void remember(const std::shared_ptr<platform::UserDefaults>& store, const std::string& key,
                const std::optional<platform::Value>& value, Ticket ticket);
  std::optional<bool> userTrackingDisabled(const std::shared_ptr<platform::UserDefaults>& store);
  void rememberUserTrackingDisabled(const std::shared_ptr<platform::UserDefaults>& store, bool disabled, Ticket ticket);

  // After a write of key, or of any key: what was known of it is forgotten.
  void forget(const std::shared_ptr<platform::UserDefaults>& store, const std::string& key);
  void forgetAll(const std::shared_ptr<platform::UserDefaults>& store);

 private:
  // Switches to store when it is not the one known: a new store starts with nothing known.
  void select(const std::shared_ptr<platform::UserDefaults>& store) REQUIRES(mutex_);

  platform::Mutex mutex_;
  // Compared by owner: never confused with a later store.
  std::weak_ptr<platform::UserDefaults> store_ GUARDED_BY(mutex_);
  Ticket writes_ GUARDED_BY(mutex_) = 0;
  std::unordered_map<std::string, std::optional<platform::Value>> known_ GUARDED_BY(mutex_);
  std::optional<bool> userTrackingDisabled_ GUARDED_BY(mutex_);
};

}  // namespace tavo
