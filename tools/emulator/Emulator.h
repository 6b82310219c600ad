#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "emulator/EmulatorFixtures.h"
#include "emulator/FailureSwitches.h"
#include "emulator/InAppLedger.h"
#include "emulator/RecordedRequest.h"
#include "platform/ConditionVariable.h"
#include "platform/Mutex.h"

namespace httplib {
struct Request;
struct Response;
}  // namespace httplib

namespace tavo::emulator {

class EmulatorHttpServer;
class RequestRecorder;
class SqliteDatabase;
class UserRegistry;
class WebServiceResponder;

// A local stand-in for the TAVO web service on 127.0.0.1. It answers every action of the SDK's protocol
// under "/ws/" from its fixtures, records each request in SQLite, shows them at "/" (HTML) and
// "/requests.json", tallies the campaigns its in-app checks gave and the impressions and clicks reported back
// ("/inapp.json"), and can misbehave on purpose (failure switches, also reachable as POST /control/...).
//
// Listening when the constructor returns; the destructor stops it, cutting short any answer held back by a
// delay. Every operation may be called from any thread while requests are served.
class Emulator {
 public:
  struct Options {
    int port = 0;                              // 0: any free port
    std::string databasePath = ":memory:";     // a file keeps requests and user ids between runs
    std::optional<EmulatorFixtures> fixtures;  // nullopt: the compiled-in defaults
  };

  // Throws std::runtime_error when the database cannot be opened or the port cannot be bound.
  explicit Emulator(Options options);
  Emulator();
  ~Emulator();
  Emulator(const Emulator&) = delete;
  Emulator& operator=(const Emulator&) = delete;

  int port() const { return port_; }
  // "http://127.0.0.1:<port>" + path.
  std::string url(const std::string& path = "/") const;
  // "http://127.0.0.1:<port>/ws/": the SDK's base URL; it appends the action.
  std::string baseURL() const { return url("/ws/"); }
  const EmulatorFixtures& fixtures() const { return fixtures_; }

  // Recording.
  std::vector<RecordedRequest> requests() const;  // oldest first
  std::size_t requestCount() const;
  // Blocks until count requests have arrived or timeoutSeconds of real time passed; true if they did.
  bool waitForRequests(std::size_t count, double timeoutSeconds) const;
  void clear();
  // Called on a server thread after each request of the web service is recorded, before it is answered.
  void setRequestObserver(std::function<void(const RecordedRequest&)> observer);
  // Per campaign: the checks answered with it, and the impressions and clicks reported for it.
  std::vector<InAppLedger::Entry> inAppEntries() const;
  // The server's id of the user on a device, as a retrieving user update would give it.
  std::int64_t userIdForDevice(const std::string& udid);

  // Failure switches (the next count connections or requests of the web service).
  void refuseConnections(int count);
  void answerStatus(int status, int count = 1);
  void answerBody(std::string body, int count = 1);
  // Answers the status picker returns for a request (nullopt: the real answer), for failures that depend on
  // what a request carries, as "every fourth batch of these events". Called on a server thread.
  void answerStatusWhen(std::function<std::optional<int>(const RecordedRequest&)> picker);
  void answerNotJSON(int count = 1);
  void closeMidBody(int count = 1);
  void delayAnswers(int milliseconds, int count = 1);
  void resetFailures();
  std::size_t refusedConnectionCount() const;

 private:
  void route();
  void serveWebService(const httplib::Request& in, httplib::Response& out);
  void serveControl(const std::string& command, const httplib::Request& in, httplib::Response& out);
  // Sleeps up to milliseconds; returns early when the emulator stops.
  void waitOutDelay(int milliseconds);
  void stop();

  EmulatorFixtures fixtures_;
  std::shared_ptr<SqliteDatabase> database_;
  std::unique_ptr<RequestRecorder> recorder_;
  std::unique_ptr<UserRegistry> users_;
  std::unique_ptr<WebServiceResponder> responder_;
  FailureSwitches failures_;
  InAppLedger inApp_;

  int port_ = 0;
  std::unique_ptr<EmulatorHttpServer> server_;
  std::thread listenThread_;

  mutable platform::Mutex mutex_;
  platform::ConditionVariable stopped_;
  bool stopping_ GUARDED_BY(mutex_) = false;
  std::function<void(const RecordedRequest&)> observer_ GUARDED_BY(mutex_);
  std::function<std::optional<int>(const RecordedRequest&)> statusPicker_ GUARDED_BY(mutex_);
};

}  // namespace tavo::emulator
