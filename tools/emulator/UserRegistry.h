#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "emulator/SqliteDatabase.h"

namespace tavo::emulator {

// The server's numeric ids of users, one per device ("udid"): given at first sight and kept in the database,
// so a device keeps its id across requests and, with a database file, across runs. Thread-safe.
class UserRegistry {
 public:
  static constexpr std::int64_t kFirstUserId = 1001;

  explicit UserRegistry(std::shared_ptr<SqliteDatabase> database);

  std::int64_t userIdForDevice(const std::string& udid);
  std::size_t userCount() const;

 private:
  std::shared_ptr<SqliteDatabase> database_;
};

}  // namespace tavo::emulator
