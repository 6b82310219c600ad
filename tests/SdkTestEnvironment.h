#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/FakeHttpClient.h"
#include "platform/ManualClock.h"
#include "platform/Platform.h"

namespace tavo::testing {

// A fresh platform and a fresh shared controller for one test: a temporary data directory, a manual clock,
// a store in memory (or in a SQLite file, to test restarts) and every system-log line captured.
class SdkTestEnvironment {
 public:
  enum class Store { InMemory, File };

  explicit SdkTestEnvironment(Store store = Store::InMemory);
  ~SdkTestEnvironment();

  // The shared controller as a started host has it: credentials and session key from key, and, with
  // noScreenEvents, a configuration naming no screen event, so plain events wait for the timed flush.
  static void startSession(const std::string& key = "APPUSER0001KEY000009", bool noScreenEvents = true);

  // Simulates a process restart on the same data directory: new platform services over the same files,
  // a new shared controller. Only meaningful with Store::File.
  void restart();

  platform::Platform& platform() { return *platform_; }
  // The platform's fake HTTP client (unless a test installed a real one).
  platform::FakeHttpClient& http();
  // Waits until no request is on the wire and the platform's and the request controller's queues are idle,
  // so every answer (and every retry it caused) has been handled.
  void drainQueues();
  platform::ManualClock& clock() { return *clock_; }
  const std::string& dataDirectory() const { return directory_; }

  // Captures every system-log line again, after something replaced the handler.
  void captureLog();
  std::vector<std::string> logLines() const;
  bool logged(const std::string& line) const;
  std::size_t countLogged(const std::string& line) const;
  void clearLog();

 private:
  void install();

  Store store_;
  std::string directory_;
  std::shared_ptr<platform::Platform> platform_;
  std::shared_ptr<platform::ManualClock> clock_;
  mutable std::mutex logMutex_;
  std::vector<std::string> log_;
};

// A directory under the system's temporary directory, removed with everything in it on destruction.
class TemporaryDirectory {
 public:
  TemporaryDirectory();
  ~TemporaryDirectory();
  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

}  // namespace tavo::testing
