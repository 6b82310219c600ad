#pragma once

#include <cstddef>

#include "platform/Mutex.h"
#include "tavo/platform/Value.h"

namespace tavo::platform {

// The disk of a test: what goes wrong for the FaultyUserDefaults and FaultyFileSystem that share it, so one
// switch fills the disk under the store and the files alike. Thread-safe.
class FaultyStorage {
 public:
  // The next count writes fail (counted after those already set to fail).
  void failNextWrites(std::size_t count);
  // Every write fails until setFull(false): a full disk.
  void setFull(bool full);
  // The next count reads of something stored return it damaged (see damaged()).
  void damageNextReads(std::size_t count);
  // Writes refused so far.
  std::size_t failedWrites() const;

  // For the wrappers: whether the write being made fails, and whether the read being made is damaged. Each
  // call uses up one of the faults it reports.
  bool takeWriteFailure();
  bool takeReadDamage();
  // Bytes as a torn write leaves them: the first half.
  static Data damaged(const Data& data);

 private:
  mutable Mutex mutex_;
  std::size_t writesToFail_ GUARDED_BY(mutex_) = 0;
  bool full_ GUARDED_BY(mutex_) = false;
  std::size_t readsToDamage_ GUARDED_BY(mutex_) = 0;
  std::size_t failedWrites_ GUARDED_BY(mutex_) = 0;
};

}  // namespace tavo::platform
