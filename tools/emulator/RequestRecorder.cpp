#include "emulator/RequestRecorder.h"

#include <cstdio>
#include <ctime>

#include "emulator/SqliteStatement.h"
#include "platform/MutexLock.h"

namespace tavo::emulator {

namespace {

using json = nlohmann::ordered_json;

std::string dumped(const json& value) { return value.dump(-1, ' ', false, json::error_handler_t::replace); }

json parsedOr(const std::string& text, json fallback) {
  json value = json::parse(text, nullptr, /*allow_exceptions=*/false);
  return value.is_discarded() ? fallback : value;
}

constexpr const char* kColumns =
    "id, time, action, header_fields, body, kind, operations, api_user, api_key, answer_status, answer_body, failure";

}  // namespace

RequestRecorder::RequestRecorder(std::shared_ptr<SqliteDatabase> database) : database_(std::move(database)) {
  database_->execute(
      "CREATE TABLE IF NOT EXISTS requests ("
      " id INTEGER PRIMARY KEY AUTOINCREMENT, time TEXT NOT NULL, action TEXT NOT NULL,"
      " header_fields TEXT NOT NULL, body BLOB NOT NULL, kind TEXT NOT NULL, operations TEXT NOT NULL,"
      " api_user TEXT NOT NULL, api_key TEXT NOT NULL, answer_status INTEGER NOT NULL, answer_body BLOB NOT NULL,"
      " failure TEXT NOT NULL)");
  count_ = database_->withConnection([](sqlite3* connection) {
    SqliteStatement count(connection, "SELECT COUNT(*) FROM requests");
    count.step();
    return static_cast<std::size_t>(count.integer(0));
  });
}

std::string RequestRecorder::timestamp(std::chrono::system_clock::time_point moment) {
  const auto sinceEpoch = std::chrono::duration_cast<std::chrono::milliseconds>(moment.time_since_epoch());
  const std::time_t seconds = static_cast<std::time_t>(sinceEpoch.count() / 1000);
  std::tm utc{};
  gmtime_r(&seconds, &utc);
  char text[32];
  const auto length = std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &utc);
  char milliseconds[8];
  std::snprintf(milliseconds, sizeof milliseconds, ".%03dZ", static_cast<int>(sinceEpoch.count() % 1000));
  return std::string(text, length) + milliseconds;
}

void RequestRecorder::record(RecordedRequest& request) {
  if (request.time.empty()) request.time = timestamp(std::chrono::system_clock::now());
  json headers = json::array();
  for (const auto& [name, value] : request.headerFields) headers.push_back(json::array({name, value}));
  platform::MutexLock lock(mutex_);
  request.id = database_->withConnection([&](sqlite3* connection) {
    SqliteStatement insert(connection,
                           "INSERT INTO requests (time, action, header_fields, body, kind, operations, api_user,"
                           " api_key, answer_status, answer_body, failure) VALUES (?,?,?,?,?,?,?,?,?,?,?)");
    insert.bind(1, request.time)
        .bind(2, request.action)
        .bind(3, dumped(headers))
        .bind(4, request.body)
        .bind(5, request.kind)
        .bind(6, dumped(request.operations))
        .bind(7, request.apiUser)
        .bind(8, request.apiKey)
        .bind(9, static_cast<std::int64_t>(request.answerStatus))
        .bind(10, request.answerBody)
        .bind(11, request.failure);
    insert.step();
    SqliteStatement id(connection, "SELECT last_insert_rowid()");
    id.step();
    return id.integer(0);
  });
  ++count_;
  recorded_.notifyAll();
}

std::vector<RecordedRequest> RequestRecorder::select(const char* order, std::int64_t limit) const {
  const std::string sql = std::string("SELECT ") + kColumns + " FROM requests ORDER BY id " + order + " LIMIT ?";
  return database_->withConnection([&](sqlite3* connection) {
    std::vector<RecordedRequest> rows;
    SqliteStatement query(connection, sql);
    query.bind(1, limit);
    while (query.step()) {
      RecordedRequest row;
      row.id = query.integer(0);
      row.time = query.text(1);
      row.action = query.text(2);
      for (const auto& field : parsedOr(query.text(3), json::array()))
        if (field.is_array() && field.size() == 2 && field[0].is_string() && field[1].is_string())
          row.headerFields.emplace_back(field[0].get<std::string>(), field[1].get<std::string>());
      row.body = query.text(4);
      row.kind = query.text(5);
      row.operations = parsedOr(query.text(6), json::array());
      row.apiUser = query.text(7);
      row.apiKey = query.text(8);
      row.answerStatus = static_cast<int>(query.integer(9));
      row.answerBody = query.text(10);
      row.failure = query.text(11);
      rows.push_back(std::move(row));
    }
    return rows;
  });
}

std::vector<RecordedRequest> RequestRecorder::requests() const { return select("ASC", -1); }

std::vector<RecordedRequest> RequestRecorder::latest(std::size_t limit) const {
  return select("DESC", static_cast<std::int64_t>(limit));
}

std::size_t RequestRecorder::requestCount() const {
  platform::MutexLock lock(mutex_);
  return count_;
}

bool RequestRecorder::waitForRequests(std::size_t count, double timeoutSeconds) const {
  const auto deadline =
      std::chrono::steady_clock::now() +
      std::chrono::duration_cast<std::chrono::steady_clock::duration>(std::chrono::duration<double>(timeoutSeconds));
  platform::MutexLock lock(mutex_);
  while (count_ < count && std::chrono::steady_clock::now() < deadline) recorded_.waitUntil(mutex_, deadline);
  return count_ >= count;
}

void RequestRecorder::clear() {
  platform::MutexLock lock(mutex_);
  database_->execute("DELETE FROM requests");
  count_ = 0;
}

}  // namespace tavo::emulator
