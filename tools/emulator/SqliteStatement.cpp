#include "emulator/SqliteStatement.h"

#include <sqlite3.h>

#include <stdexcept>

namespace tavo::emulator {

SqliteStatement::SqliteStatement(sqlite3* connection, const std::string& sql) : connection_(connection) {
  if (sqlite3_prepare_v2(connection, sql.c_str(), -1, &statement_, nullptr) != SQLITE_OK)
    throw std::runtime_error(std::string("SQL does not compile (") + sqlite3_errmsg(connection) + "): " + sql);
}

SqliteStatement::~SqliteStatement() { sqlite3_finalize(statement_); }

SqliteStatement& SqliteStatement::bind(int index, std::string_view text) {
  sqlite3_bind_text(statement_, index, text.data(), static_cast<int>(text.size()), SQLITE_TRANSIENT);
  return *this;
}

SqliteStatement& SqliteStatement::bind(int index, std::int64_t number) {
  sqlite3_bind_int64(statement_, index, number);
  return *this;
}

SqliteStatement& SqliteStatement::bind(int index, double number) {
  sqlite3_bind_double(statement_, index, number);
  return *this;
}

bool SqliteStatement::step() {
  const int result = sqlite3_step(statement_);
  if (result == SQLITE_ROW) return true;
  if (result == SQLITE_DONE) return false;
  throw std::runtime_error(std::string("SQL step failed: ") + sqlite3_errmsg(connection_));
}

std::string SqliteStatement::text(int column) const {
  const auto* bytes = sqlite3_column_text(statement_, column);
  const int size = sqlite3_column_bytes(statement_, column);
  return bytes ? std::string(reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(size)) : std::string();
}

std::int64_t SqliteStatement::integer(int column) const { return sqlite3_column_int64(statement_, column); }

double SqliteStatement::real(int column) const { return sqlite3_column_double(statement_, column); }

}  // namespace tavo::emulator
