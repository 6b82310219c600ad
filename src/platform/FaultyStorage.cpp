#include "platform/FaultyStorage.h"

#include "platform/MutexLock.h"

namespace tavo::platform {

void FaultyStorage::failNextWrites(std::size_t count) {
  MutexLock lock(mutex_);
  writesToFail_ += count;
}

void FaultyStorage::setFull(bool full) {
  MutexLock lock(mutex_);
  full_ = full;
}

void FaultyStorage::damageNextReads(std::size_t count) {
  MutexLock lock(mutex_);
  readsToDamage_ += count;
}

std::size_t FaultyStorage::failedWrites() const {
  MutexLock lock(mutex_);
  return failedWrites_;
}

bool FaultyStorage::takeWriteFailure() {
  MutexLock lock(mutex_);
  if (!full_ && writesToFail_ == 0) return false;
  if (!full_) --writesToFail_;
  ++failedWrites_;
  return true;
}

bool FaultyStorage::takeReadDamage() {
  MutexLock lock(mutex_);
  if (readsToDamage_ == 0) return false;
  --readsToDamage_;
  return true;
}

Data FaultyStorage::damaged(const Data& data) {
  return Data(data.begin(), data.begin() + static_cast<std::ptrdiff_t>(data.size() / 2));
}

}  // namespace tavo::platform
