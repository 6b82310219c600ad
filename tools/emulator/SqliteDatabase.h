#pragma once

#include <string>

#include "platform/MutexLock.h"

struct sqlite3;

namespace tavo::emulator {

// One SQLite connection shared by the emulator's stores. Every use goes through withConnection, which holds
// the connection exclusively, so the stores may be called from any server thread.
class SqliteDatabase {
 public:
  // Opens (creating if needed) the file at path; ":memory:" keeps everything in memory. Throws
  // std::runtime_error when the file cannot be opened.
  explicit SqliteDatabase(const std::string& path);
  ~SqliteDatabase();
  SqliteDatabase(const SqliteDatabase&) = delete;
  SqliteDatabase& operator=(const SqliteDatabase&) = delete;

  const std::string& path() const { return path_; }

  // Runs work(connection) under the connection's lock and returns what it returns.
  template <class Work>
  auto withConnection(Work&& work) {
    platform::MutexLock lock(mutex_);
    return work(db_);
  }

  // Runs SQL without results (schema, deletes). Throws std::runtime_error with SQLite's message on failure.
  void execute(const std::string& sql);
  // Same, for a caller that already holds the connection.
  static void execute(sqlite3* connection, const std::string& sql);

 private:
  std::string path_;
  platform::Mutex mutex_;
  sqlite3* db_ GUARDED_BY(mutex_) = nullptr;
};

}  // namespace tavo::emulator
