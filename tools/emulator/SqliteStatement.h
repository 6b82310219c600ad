#pragma once

#include <cstdint>
#include <string>
#include <string_view>

struct sqlite3;
struct sqlite3_stmt;

namespace tavo::emulator {

// A prepared statement on a connection the caller holds (inside SqliteDatabase::withConnection). Parameters
// are numbered from 1, columns from 0, as SQLite counts them. Finalised on destruction.
class SqliteStatement {
 public:
  // Throws std::runtime_error when the SQL does not compile.
  SqliteStatement(sqlite3* connection, const std::string& sql);
  ~SqliteStatement();
  SqliteStatement(const SqliteStatement&) = delete;
  SqliteStatement& operator=(const SqliteStatement&) = delete;

  SqliteStatement& bind(int index, std::string_view text);
  SqliteStatement& bind(int index, std::int64_t number);
  SqliteStatement& bind(int index, double number);

  // Advances to the next row: true while there is one, false when done. Throws on an SQLite error.
  bool step();

  std::string text(int column) const;
  std::int64_t integer(int column) const;
  double real(int column) const;

 private:
  sqlite3* connection_;
  sqlite3_stmt* statement_ = nullptr;
};

}  // namespace tavo::emulator
