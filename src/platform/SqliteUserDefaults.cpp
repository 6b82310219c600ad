#include "platform/SqliteUserDefaults.h"

#include <sqlite3.h>

#include <filesystem>
#include <limits>
#include <system_error>

#include "platform/Exception.h"
#include "platform/MutexLock.h"
#include "platform/PropertyListSerialization.h"

namespace tavo::platform {

namespace {

constexpr const char* kOpenFailed = "UserDefaultsOpenFailed";
// How long a statement waits for another connection (thread or process) to release the file.
constexpr int kBusyTimeoutMs = 5000;

// One run of a kept statement: its bindings and its state are cleared when the run is over.
class StatementRun {
 public:
  explicit StatementRun(sqlite3_stmt* stmt) : stmt_(stmt) {}
  ~StatementRun() {
    sqlite3_reset(stmt_);
    sqlite3_clear_bindings(stmt_);
  }
  StatementRun(const StatementRun&) = delete;
  StatementRun& operator=(const StatementRun&) = delete;

  sqlite3_stmt* get() const { return stmt_; }
  void bindText(int index, const std::string& s) {
    sqlite3_bind_text(stmt_, index, s.data(), static_cast<int>(s.size()), SQLITE_TRANSIENT);
  }

 private:
  sqlite3_stmt* stmt_;
};

std::optional<Data> storable(const Value& value) {
  auto data = PropertyListSerialization::dataWithPropertyList(value);
  // The null object and archivable objects have no property-list form.
  if (!data || data->size() > static_cast<std::size_t>(std::numeric_limits<int>::max())) return std::nullopt;
  return data;
}

}  // namespace

SqliteUserDefaults::SqliteUserDefaults(const std::string& path) : path_(path) {
  if (path != ":memory:") {
    const std::filesystem::path parent = std::filesystem::path(path).parent_path();
    std::error_code error;
    if (!parent.empty() && !std::filesystem::is_directory(parent, error)) {
      std::filesystem::create_directories(parent, error);
      if (error) throw Exception(kOpenFailed, "cannot create " + parent.string() + ": " + error.message());
    }
  }
  sqlite3* db = nullptr;
  const int rc =
      sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_FULLMUTEX, nullptr);
  auto fail = [&](const std::string& what) {
    const std::string reason = what + " " + path + ": " + (db ? sqlite3_errmsg(db) : "out of memory");
    sqlite3_close_v2(db);
    throw Exception(kOpenFailed, reason);
  };
  if (rc != SQLITE_OK) fail("cannot open");
  sqlite3_busy_timeout(db, kBusyTimeoutMs);
  // WAL lets a second connection read while one writes; FULL syncs every commit, so a write that has
  // returned survives a crash of the process or of the machine.
  for (const char* sql : {"PRAGMA journal_mode=WAL", "PRAGMA synchronous=FULL",
                          "CREATE TABLE IF NOT EXISTS defaults (key TEXT PRIMARY KEY NOT NULL, value BLOB NOT NULL)"}) {
    if (sqlite3_exec(db, sql, nullptr, nullptr, nullptr) != SQLITE_OK) fail("cannot set up");
  }
  if (sqlite3_db_readonly(db, "main") == 1) fail("cannot write to");
  db_ = db;
}

SqliteUserDefaults::~SqliteUserDefaults() {
  for (sqlite3_stmt* kept : {select_, upsert_, delete_}) sqlite3_finalize(kept);
  sqlite3_close_v2(db_);
}

sqlite3_stmt* SqliteUserDefaults::statement(sqlite3_stmt*& slot, const char* sql) const {
  if (!slot) sqlite3_prepare_v3(db_, sql, -1, SQLITE_PREPARE_PERSISTENT, &slot, nullptr);
  return slot;
}

std::optional<Value> SqliteUserDefaults::objectForKey(const std::string& key) const {
  MutexLock lock(mutex_);
  return lookup(key);
}

std::optional<Value> SqliteUserDefaults::lookup(const std::string& key) const {
  sqlite3_stmt* prepared = statement(select_, "SELECT value FROM defaults WHERE key = ?1");
  if (!prepared) return std::nullopt;
  StatementRun select(prepared);
  select.bindText(1, key);
  if (sqlite3_step(select.get()) != SQLITE_ROW) return std::nullopt;
  const auto* bytes = static_cast<const std::uint8_t*>(sqlite3_column_blob(select.get(), 0));
  const int length = sqlite3_column_bytes(select.get(), 0);
  const Data data = bytes ? Data(bytes, bytes + length) : Data();
  // A row that is not a readable property list reads as absent.
  return PropertyListSerialization::propertyListWithData(data);
}

bool SqliteUserDefaults::setObject(const Value& value, const std::string& key) {
  const auto data = storable(value);
  if (!data) return false;
  MutexLock lock(mutex_);
  return upsert(*data, key);
}

bool SqliteUserDefaults::setObjectIfUnchanged(const Value& value, const std::string& key,
                                              const std::optional<Value>& expected) {
  const auto data = storable(value);
  if (!data) return false;
  MutexLock lock(mutex_);
  // The lock keeps this process's threads out; the immediate transaction keeps other processes out.
  if (sqlite3_exec(db_, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr) != SQLITE_OK) return false;
  const bool stored = lookup(key) == expected && upsert(*data, key);
  if (sqlite3_exec(db_, "COMMIT", nullptr, nullptr, nullptr) == SQLITE_OK) return stored;
  sqlite3_exec(db_, "ROLLBACK", nullptr, nullptr, nullptr);
  return false;
}

bool SqliteUserDefaults::upsert(const Data& data, const std::string& key) {
  sqlite3_stmt* prepared = statement(upsert_, "INSERT OR REPLACE INTO defaults (key, value) VALUES (?1, ?2)");
  if (!prepared) return false;
  StatementRun run(prepared);
  run.bindText(1, key);
  sqlite3_bind_blob(run.get(), 2, data.data(), static_cast<int>(data.size()), SQLITE_TRANSIENT);
  return sqlite3_step(run.get()) == SQLITE_DONE;
}

bool SqliteUserDefaults::removeObjectForKey(const std::string& key) {
  MutexLock lock(mutex_);
  sqlite3_stmt* prepared = statement(delete_, "DELETE FROM defaults WHERE key = ?1");
  if (!prepared) return false;
  StatementRun remove(prepared);
  remove.bindText(1, key);
  return sqlite3_step(remove.get()) == SQLITE_DONE;
}

bool SqliteUserDefaults::synchronize() { return true; }

}  // namespace tavo::platform
