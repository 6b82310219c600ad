#pragma once

#include <string>

#include "SdkTestEnvironment.h"
#include "platform/FakeHttpClient.h"
#include "platform/Platform.h"

namespace tavo::fuzzing {

// One SDK for a whole fuzzing process: the test platform (manual clock, fake HTTP client, every log line
// captured), a started session and debug logging, so every log line is formatted as well. Each input starts
// from the same state, with nothing written to disk: a fresh in-memory store and a fresh controller life.
class FuzzEnvironment {
 public:
  static constexpr const char* kSessionKey = "FUZZAPPUSER01KEY123456";

  // The environment of this process, made on first use on the fuzzing thread (the main loop's thread). Its
  // data directory is removed when the process exits.
  static FuzzEnvironment& shared();

  // Empties the store and the cookie storage, forgets the HTTP requests and log lines of the previous input,
  // answers every request with `200 {"status":200}` again and rebuilds the controller's life (the credentials
  // stay).
  void beginInput();
  // Runs what the input posted to the main loop and waits for both request queues, until nothing is left.
  void finishInput();
  // What a process restart reads: the controller rebuilt over the same store.
  void restartController();
  // A restart that must read every parked request back whole: archived again, each is byte for byte what
  // was parked before. Aborts (a finding) otherwise.
  void restartKeepingParkedRequests();

  // The cookie file, when there is one, must be JSON: the next start reads it. Aborts (a finding) otherwise.
  void expectCookieFileIsJSON();
  // Captures the log lines again after a target replaced the system log's handler.
  void captureLog() { environment_.captureLog(); }

  platform::Platform& platform() { return environment_.platform(); }
  platform::FakeHttpClient& http() { return environment_.http(); }
  platform::ManualClock& clock() { return environment_.clock(); }
  const std::string& dataDirectory() const { return environment_.dataDirectory(); }

  FuzzEnvironment(const FuzzEnvironment&) = delete;
  FuzzEnvironment& operator=(const FuzzEnvironment&) = delete;

 private:
  FuzzEnvironment();

  testing::SdkTestEnvironment environment_;
};

}  // namespace tavo::fuzzing
