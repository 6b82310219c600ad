#include "persistence/TAVODataStoreCache.h"

#include "persistence/TAVODataStoreController.h"
#include "platform/MutexLock.h"

namespace tavo {

bool TAVODataStoreCache::isCachedKey(const std::string& key) {
  // Read for every tracked event: the open attribution campaigns.
  return key == TAVODataStoreController::kAttributionCampaignsKey;
}

TAVODataStoreCache& TAVODataStoreCache::shared() {
  static TAVODataStoreCache cache;
  return cache;
}

void TAVODataStoreCache::select(const std::shared_ptr<platform::UserDefaults>& store) {
  const bool same = !store_.owner_before(store) && !store.owner_before(store_);
  if (same) return;
  store_ = store;
  ++writes_;
  known_.clear();
  userTrackingDisabled_.reset();
}

TAVODataStoreCache::Ticket TAVODataStoreCache::beginRead(const std::shared_ptr<platform::UserDefaults>& store) {
  platform::MutexLock lock(mutex_);
  select(store);
  return writes_;
}

bool TAVODataStoreCache::recall(const std::shared_ptr<platform::UserDefaults>& store, const std::string& key,
                                std::optional<platform::Value>& value) {
  platform::MutexLock lock(mutex_);
  select(store);
  const auto found = known_.find(key);
  if (found == known_.end()) return false;
  value = found->second;
  return true;
}

void TAVODataStoreCache::remember(const std::shared_ptr<platform::UserDefaults>& store, const std::string& key,
                                  const std::optional<platform::Value>& value, Ticket ticket) {
  if (!isCachedKey(key)) return;
  platform::MutexLock lock(mutex_);
  select(store);
  if (ticket == writes_) known_.insert_or_assign(key, value);
}

std::optional<bool> TAVODataStoreCache::userTrackingDisabled(const std::shared_ptr<platform::UserDefaults>& store) {
  platform::MutexLock lock(mutex_);
  select(store);
  return userTrackingDisabled_;
}

void TAVODataStoreCache::rememberUserTrackingDisabled(const std::shared_ptr<platform::UserDefaults>& store,
                                                      bool disabled, Ticket ticket) {
  platform::MutexLock lock(mutex_);
  select(store);
  if (ticket == writes_) userTrackingDisabled_ = disabled;
}

void TAVODataStoreCache::forget(const std::shared_ptr<platform::UserDefaults>& store, const std::string& key) {
  platform::MutexLock lock(mutex_);
  select(store);
  ++writes_;
  known_.erase(key);
  if (key == TAVODataStoreController::kUserTrackingKey) userTrackingDisabled_.reset();
}

void TAVODataStoreCache::forgetAll(const std::shared_ptr<platform::UserDefaults>& store) {
  platform::MutexLock lock(mutex_);
  select(store);
  ++writes_;
  known_.clear();
  userTrackingDisabled_.reset();
}

}  // namespace tavo
