#pragma once

#include <sys/types.h>

#include <string>

namespace tavo::bench {

// The web-service emulator in a child process, so that what it holds (every batch parsed and recorded) is not
// counted as the host's memory. Construct it while this process has no thread yet: the child is forked then.
// The child serves until stop() or destruction; stop() returns the child's own peak resident memory.
class EmulatorProcess {
 public:
  // Throws std::runtime_error when the child cannot be started or its emulator cannot listen.
  EmulatorProcess();
  ~EmulatorProcess();
  EmulatorProcess(const EmulatorProcess&) = delete;
  EmulatorProcess& operator=(const EmulatorProcess&) = delete;

  // "http://127.0.0.1:<port>/ws/": the SDK's base URL.
  const std::string& baseURL() const { return baseURL_; }
  // Stops the child's web service; returns the child's peak resident memory in KiB (0 when it could not say).
  long stop();

 private:
  [[noreturn]] static void serve(int toParent, int fromParent);
  // Closes the pipes (the child then stops) and waits for the child to end.
  void shutDown();

  pid_t pid_ = -1;
  int fromChild_ = -1;
  int toChild_ = -1;
  std::string baseURL_;
};

}  // namespace tavo::bench
