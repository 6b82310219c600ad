#include "EmulatorProcess.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <stdexcept>

#include "ResidentMemory.h"
#include "emulator/Emulator.h"

namespace tavo::bench {

EmulatorProcess::EmulatorProcess() {
  int toParent[2];
  int toChild[2];
  if (pipe(toParent) != 0) throw std::runtime_error("pipe failed");
  if (pipe(toChild) != 0) {
    close(toParent[0]);
    close(toParent[1]);
    throw std::runtime_error("pipe failed");
  }
  pid_ = fork();
  if (pid_ == 0) {
    close(toParent[0]);
    close(toChild[1]);
    serve(toParent[1], toChild[0]);
  }
  close(toParent[1]);
  close(toChild[0]);
  fromChild_ = toParent[0];
  toChild_ = toChild[1];
  int port = 0;
  if (pid_ < 0 || read(fromChild_, &port, sizeof port) != sizeof port || port <= 0) {
    shutDown();
    throw std::runtime_error("the emulator process did not start");
  }
  baseURL_ = "http://127.0.0.1:" + std::to_string(port) + "/ws/";
}

EmulatorProcess::~EmulatorProcess() { shutDown(); }

void EmulatorProcess::shutDown() {
  if (toChild_ >= 0) close(toChild_);
  if (fromChild_ >= 0) close(fromChild_);
  toChild_ = fromChild_ = -1;
  if (pid_ > 0) waitpid(pid_, nullptr, 0);
  pid_ = -1;
}

long EmulatorProcess::stop() {
  if (toChild_ >= 0) close(toChild_);
  toChild_ = -1;
  long peakKiB = 0;
  if (read(fromChild_, &peakKiB, sizeof peakKiB) != sizeof peakKiB) peakKiB = 0;
  return peakKiB;
}

void EmulatorProcess::serve(int toParent, int fromParent) {
  int status = 0;
  try {
    emulator::Emulator emulator;
    const int port = emulator.port();
    if (write(toParent, &port, sizeof port) != sizeof port) _exit(1);
    // Serves until the parent closes its end.
    char ignored;
    while (read(fromParent, &ignored, 1) > 0) {
    }
    const long peakKiB = ResidentMemory::peakKiB();
    if (write(toParent, &peakKiB, sizeof peakKiB) != sizeof peakKiB) status = 1;
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "emulator process: %s\n", failure.what());
    status = 1;
  }
  _exit(status);
}

}  // namespace tavo::bench
