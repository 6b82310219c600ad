#include "emulator/SqliteDatabase.h"

#include <sqlite3.h>

#include <stdexcept>

namespace tavo::emulator {

SqliteDatabase::SqliteDatabase(const std::string& path) : path_(path) {
  const int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX;
  if (sqlite3_open_v2(path.c_str(), &db_, flags, nullptr) != SQLITE_OK) {
    const std::string reason = db_ ? sqlite3_errmsg(db_) : "out of memory";
    sqlite3_close(db_);
    db_ = nullptr;
    throw std::runtime_error("cannot open database " + path + ": " + reason);
  }
  sqlite3_busy_timeout(db_, 2000);
  // A recording database is a log: losing the last few rows on a power cut is fine, slow writes are not.
  execute("PRAGMA journal_mode=WAL; PRAGMA synchronous=NORMAL;");
}

SqliteDatabase::~SqliteDatabase() { sqlite3_close(db_); }

void SqliteDatabase::execute(const std::string& sql) {
  withConnection([&](sqlite3* connection) { execute(connection, sql); });
}

void SqliteDatabase::execute(sqlite3* connection, const std::string& sql) {
  char* message = nullptr;
  if (sqlite3_exec(connection, sql.c_str(), nullptr, nullptr, &message) != SQLITE_OK) {
    const std::string reason = message ? message : "unknown error";
    sqlite3_free(message);
    throw std::runtime_error("SQL failed (" + reason + "): " + sql);
  }
}

}  // namespace tavo::emulator
