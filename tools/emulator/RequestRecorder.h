#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <vector>

#include "emulator/RecordedRequest.h"
#include "emulator/SqliteDatabase.h"
#include "platform/ConditionVariable.h"
#include "platform/Mutex.h"

namespace tavo::emulator {

// Every request the web service received, in the "requests" table of the database (what arrived, how it was
// read and what was answered). Thread-safe: server threads record while tests and pages read.
class RequestRecorder {
 public:
  explicit RequestRecorder(std::shared_ptr<SqliteDatabase> database);

  // Stores the request, giving it the next id and, when it has none, the arrival time now. Wakes waiters.
  void record(RecordedRequest& request);

  // Oldest first.
  std::vector<RecordedRequest> requests() const;
  // The newest limit requests, newest first.
  std::vector<RecordedRequest> latest(std::size_t limit) const;
  std::size_t requestCount() const;
  // Blocks until at least count requests are recorded or timeoutSeconds of real time passed; true if they are.
  bool waitForRequests(std::size_t count, double timeoutSeconds) const;
  // Forgets every recorded request (ids start again after the highest ever given).
  void clear();

  // "2024-05-01T12:00:00.123Z" of a moment.
  static std::string timestamp(std::chrono::system_clock::time_point moment);

 private:
  std::vector<RecordedRequest> select(const char* sql, std::int64_t limit) const;

  std::shared_ptr<SqliteDatabase> database_;
  mutable platform::Mutex mutex_;  // taken before the database's, never inside it
  mutable platform::ConditionVariable recorded_;
  std::size_t count_ GUARDED_BY(mutex_) = 0;
};

}  // namespace tavo::emulator
