// tavo-emulator: the TAVO web service on this machine, for the SDK's tests, its demo and any application
// being integrated. Point the SDK's urlBase at the printed base URL; watch the requests at the printed page.
//
//   tavo-emulator [--port N] [--db FILE] [--fixtures FILE] [--quiet]

#include <csignal>
#include <cstdlib>
#include <iostream>
#include <string>

#include "emulator/Emulator.h"

namespace {

int usage() {
  std::cerr << "usage: tavo-emulator [--port N] [--db FILE] [--fixtures FILE] [--quiet]\n"
               "  --port N         listen on 127.0.0.1:N (default: any free port)\n"
               "  --db FILE        record requests and user ids in this SQLite file (default: in memory)\n"
               "  --fixtures FILE  answer from these fixtures (default: the built-in set)\n"
               "  --quiet          do not print a line per request\n";
  return 2;
}

std::string joined(const std::vector<std::string>& items, const char* separator) {
  std::string text;
  for (const auto& item : items) text += (text.empty() ? "" : separator) + item;
  return text;
}

}  // namespace

int main(int argc, char** argv) {
  using tavo::emulator::Emulator;
  using tavo::emulator::EmulatorFixtures;
  Emulator::Options options;
  bool quiet = false;
  for (int i = 1; i < argc; ++i) {
    const std::string arg = argv[i];
    const bool hasValue = i + 1 < argc;
    if (arg == "--port" && hasValue) {
      char* end = nullptr;
      const long port = std::strtol(argv[++i], &end, 10);
      if (*end != '\0' || port < 0 || port > 65535) return usage();
      options.port = static_cast<int>(port);
    } else if (arg == "--db" && hasValue) {
      options.databasePath = argv[++i];
    } else if (arg == "--fixtures" && hasValue) {
      try {
        options.fixtures = EmulatorFixtures::fromFile(argv[++i]);
      } catch (const std::exception& error) {
        std::cerr << "tavo-emulator: " << error.what() << "\n";
        return 1;
      }
    } else if (arg == "--quiet") {
      quiet = true;
    } else {
      return usage();
    }
  }

  // Ctrl-C and a termination request are taken by sigwait below; every server thread inherits the mask.
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGINT);
  sigaddset(&signals, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);

  try {
    Emulator emulator(options);
    if (!quiet) {
      emulator.setRequestObserver([](const tavo::emulator::RecordedRequest& request) {
        std::cout << request.time << "  " << request.action << "  [" << joined(request.operationTypes(), ", ")
                  << "]  -> " << request.answerStatus << (request.failure.empty() ? "" : " (" + request.failure + ")")
                  << "\n  " << joined(request.keyParameters(), "\n  ") << std::endl;
      });
    }
    std::cout << "TAVO emulator listening on 127.0.0.1:" << emulator.port() << "\n"
              << "  base URL (urlBase): " << emulator.baseURL() << "\n"
              << "  requests page:      " << emulator.url("/") << "\n"
              << "  database:           " << options.databasePath << "\n"
              << "Ctrl-C stops it." << std::endl;
    int received = 0;
    sigwait(&signals, &received);
    std::cout << "\nStopping after " << emulator.requestCount() << " requests." << std::endl;
  } catch (const std::exception& error) {
    std::cerr << "tavo-emulator: " << error.what() << "\n";
    return 1;
  }
  return 0;
}
