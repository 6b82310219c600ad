#pragma once

#include <optional>
#include <string>

#include "platform/Mutex.h"
#include "platform/UserDefaults.h"

struct sqlite3;
struct sqlite3_stmt;

namespace tavo::platform {

// The application's user defaults on one SQLite file in WAL mode. A write has reached the database when the
// call returns (synchronous=FULL), so a process killed right after loses nothing; a second process start on
// the same file sees it.
class SqliteUserDefaults final : public UserDefaults {
 public:
  // Opens (creating the file and its directory if needed) the store at path; ":memory:" makes a private
  // store that lives as long as the object. Throws platform::Exception named "UserDefaultsOpenFailed" when
  // the file cannot be opened for writing.
  explicit SqliteUserDefaults(const std::string& path);
  ~SqliteUserDefaults() override;
  SqliteUserDefaults(const SqliteUserDefaults&) = delete;
  SqliteUserDefaults& operator=(const SqliteUserDefaults&) = delete;

  std::optional<Value> objectForKey(const std::string& key) const override;
  [[nodiscard]] bool setObject(const Value& value, const std::string& key) override;
  bool setObjectIfUnchanged(const Value& value, const std::string& key, const std::optional<Value>& expected) override;
  [[nodiscard]] bool removeObjectForKey(const std::string& key) override;
  [[nodiscard]] bool synchronize() override;

  const std::string& path() const { return path_; }

 private:
  // The statement for sql, prepared on first use and kept for the life of the connection (preparing costs
  // more than running one of these lookups).
  sqlite3_stmt* statement(sqlite3_stmt*& slot, const char* sql) const REQUIRES(mutex_);
  // The read and the write of one key.
  std::optional<Value> lookup(const std::string& key) const REQUIRES(mutex_);
  bool upsert(const Data& data, const std::string& key) REQUIRES(mutex_);

  const std::string path_;
  mutable Mutex mutex_;
  sqlite3* db_ GUARDED_BY(mutex_) = nullptr;
  mutable sqlite3_stmt* select_ GUARDED_BY(mutex_) = nullptr;
  mutable sqlite3_stmt* upsert_ GUARDED_BY(mutex_) = nullptr;
  mutable sqlite3_stmt* delete_ GUARDED_BY(mutex_) = nullptr;
};

}  // namespace tavo::platform
