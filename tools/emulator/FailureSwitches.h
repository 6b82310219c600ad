#pragma once

#include <cstddef>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>

#include "platform/Mutex.h"

namespace tavo::emulator {

// Ways the emulated web service misbehaves on purpose, each for a number of connections or requests, so
// tests and developers can watch the SDK retry, park and recover. Set from any thread; each request takes
// its share once (take* below), so two server threads never both use the last one.
class FailureSwitches {
 public:
  // What one request gets: every switch that is on gives one of its count to it.
  struct Plan {
    std::optional<int> status;        // answer this status instead of the real answer
    std::optional<std::string> body;  // answer this body (HTTP 200) instead of the real answer
    bool notJSON = false;             // answer a body that no JSON reader accepts
    bool closeMidBody = false;        // announce the whole answer, send half, close the connection
    int delayMilliseconds = 0;        // wait this long before answering

    bool any() const { return status || body || notJSON || closeMidBody || delayMilliseconds > 0; }
    // "status 500, delay 300 ms", "" for none.
    std::string description() const;
  };

  // Close the next count connections as soon as they are accepted, before reading anything.
  void refuseConnections(int count);
  void answerStatus(int status, int count);
  // Answers exactly these bytes: a status the SDK does not know, an empty or cut-off JSON, a huge answer.
  void answerBody(std::string body, int count);
  void answerNotJSON(int count);
  void closeMidBody(int count);
  void delayAnswers(int milliseconds, int count);
  // Turns every switch off.
  void reset();

  // For an accepted connection: true (and one fewer to refuse) when it is to be closed at once.
  bool takeRefusal();
  // For a request of the web service.
  Plan takePlan();

  std::size_t refusedConnections() const;
  // What is still pending, for the control endpoints and the page.
  nlohmann::ordered_json state() const;

 private:
  mutable platform::Mutex mutex_;
  int refuse_ GUARDED_BY(mutex_) = 0;
  int statusCount_ GUARDED_BY(mutex_) = 0;
  int status_ GUARDED_BY(mutex_) = 0;
  int bodyCount_ GUARDED_BY(mutex_) = 0;
  std::string body_ GUARDED_BY(mutex_);
  int notJSON_ GUARDED_BY(mutex_) = 0;
  int closeMidBody_ GUARDED_BY(mutex_) = 0;
  int delayCount_ GUARDED_BY(mutex_) = 0;
  int delayMilliseconds_ GUARDED_BY(mutex_) = 0;
  std::size_t refused_ GUARDED_BY(mutex_) = 0;
};

}  // namespace tavo::emulator
