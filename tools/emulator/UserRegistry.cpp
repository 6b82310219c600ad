#include "emulator/UserRegistry.h"

#include "emulator/SqliteStatement.h"

namespace tavo::emulator {

UserRegistry::UserRegistry(std::shared_ptr<SqliteDatabase> database) : database_(std::move(database)) {
  database_->execute("CREATE TABLE IF NOT EXISTS users (udid TEXT PRIMARY KEY, user_id INTEGER NOT NULL UNIQUE)");
}

std::int64_t UserRegistry::userIdForDevice(const std::string& udid) {
  return database_->withConnection([&](sqlite3* connection) {
    SqliteStatement known(connection, "SELECT user_id FROM users WHERE udid = ?");
    known.bind(1, udid);
    if (known.step()) return known.integer(0);
    SqliteStatement next(connection, "SELECT COALESCE(MAX(user_id) + 1, ?) FROM users");
    next.bind(1, kFirstUserId);
    next.step();
    const std::int64_t id = next.integer(0);
    SqliteStatement insert(connection, "INSERT INTO users (udid, user_id) VALUES (?, ?)");
    insert.bind(1, udid).bind(2, id);
    insert.step();
    return id;
  });
}

std::size_t UserRegistry::userCount() const {
  return database_->withConnection([](sqlite3* connection) {
    SqliteStatement count(connection, "SELECT COUNT(*) FROM users");
    count.step();
    return static_cast<std::size_t>(count.integer(0));
  });
}

}  // namespace tavo::emulator
