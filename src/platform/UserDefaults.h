#pragma once

#include <mutex>
#include <optional>
#include <string>

#include "tavo/platform/Value.h"

struct sqlite3;
struct sqlite3_stmt;

namespace tavo::platform {

// The durable key/value store of the application ("user defaults") on one SQLite file in WAL mode.
// Values are property-list Values (no archivable objects; archive them into Data first). A write has
// reached the database when the call returns, so a process killed right after loses nothing; a second
// process start on the same file sees it. Safe to use from any thread.
class UserDefaults {
 public:
  // Opens (creating if needed) the store at path; ":memory:" makes a private in-memory store for tests.
  // Throws platform::Exception named "UserDefaultsOpenFailed" when the file cannot be opened.
  explicit UserDefaults(const std::string& path);
  ~UserDefaults();
  UserDefaults(const UserDefaults&) = delete;
  UserDefaults& operator=(const UserDefaults&) = delete;

  std::optional<Value> objectForKey(const std::string& key) const;
  // Stores value under key (replacing); a Value holding an object is refused (returns false).
  bool setObject(const Value& value, const std::string& key);
  // Stores value under key only while key still holds expected (nullopt: nothing), in one step that no
  // other writer, thread or process, can split; returns whether it stored. For a read that writes back
  // what it read, which must never undo a write made in between.
  bool setObjectIfUnchanged(const Value& value, const std::string& key, const std::optional<Value>& expected);
  void removeObjectForKey(const std::string& key);
  // Writes are durable when they return; kept for the platform's interface. Returns true.
  bool synchronize();

  const std::string& path() const { return path_; }

 private:
  // The statement for sql, prepared on first use and kept for the life of the connection (preparing costs
  // more than running one of these lookups). Caller holds mutex_.
  sqlite3_stmt* statement(sqlite3_stmt*& slot, const char* sql) const;
  // The read and the write of one key. Caller holds mutex_.
  std::optional<Value> lookup(const std::string& key) const;
  bool upsert(const Data& data, const std::string& key);

  std::string path_;
  mutable std::mutex mutex_;
  sqlite3* db_ = nullptr;
  mutable sqlite3_stmt* select_ = nullptr;
  mutable sqlite3_stmt* upsert_ = nullptr;
  mutable sqlite3_stmt* delete_ = nullptr;
};

}  // namespace tavo::platform
