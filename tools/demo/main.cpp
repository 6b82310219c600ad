// tavo-demo: the main job. Starts the web-service emulator in this process, starts the SDK against it through
// the C++ facade, plays a user's journey in real time while pumping the main loop, and prints what the host
// called and heard and what the web service received.
//
//   tavo-demo [--data DIR] [--serve] [--verbose]
//     --data DIR   keep the SDK's state (and the emulator's records) in DIR: a second run sends no install event
//     --serve      afterwards keep the emulator and its page up until Ctrl-C
//     --verbose    print the SDK's log lines

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <string>

#include "Journey.h"
#include "emulator/Emulator.h"
#include "platform/Platform.h"

namespace {

int usage() {
  std::cerr << "usage: tavo-demo [--data DIR] [--serve] [--verbose]\n";
  return 2;
}

}  // namespace

int main(int argc, char** argv) {
  namespace fs = std::filesystem;
  using namespace tavo;
  std::string dataDirectory;
  bool serve = false;
  bool verbose = false;
  for (int i = 1; i < argc; ++i) {
    const std::string arg = argv[i];
    if (arg == "--data" && i + 1 < argc) {
      dataDirectory = argv[++i];
    } else if (arg == "--serve") {
      serve = true;
    } else if (arg == "--verbose") {
      verbose = true;
    } else {
      return usage();
    }
  }

  // Ctrl-C is read between pumps of the main loop; every thread started below inherits the mask.
  sigset_t interrupt;
  sigemptyset(&interrupt);
  sigaddset(&interrupt, SIGINT);
  sigaddset(&interrupt, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &interrupt, nullptr);

  const bool temporary = dataDirectory.empty();
  std::error_code error;
  if (temporary) {
    std::string pattern = (fs::temp_directory_path() / "tavo-demo-XXXXXX").string();
    if (!mkdtemp(pattern.data())) {
      std::perror("mkdtemp");
      return 1;
    }
    dataDirectory = pattern;
  } else if (fs::create_directories(dataDirectory, error); error) {
    std::cerr << "tavo-demo: cannot create " << dataDirectory << ": " << error.message() << "\n";
    return 1;
  }

  int status = 0;
  try {
    emulator::Emulator::Options options;
    if (!temporary) options.databasePath = (fs::path(dataDirectory) / "emulator.sqlite").string();
    emulator::Emulator emulator(options);
    std::cout << "TAVO demo: the web-service emulator listens at " << emulator.url("/") << "\n"
              << "SDK " << TAVOLegacy::getSDKVersion() << " (build " << TAVOLegacy::getSDKBuildVersion()
              << "), data directory " << dataDirectory << (temporary ? " (temporary)" : "") << "\n";

    auto platform = platform::Platform::makeDefault(dataDirectory);
    platform->bundle->setInfoValue("CFBundleShortVersionString", "1.0.0");
    platform->bundle->setInfoValue("CFBundleVersion", "100");
    platform->systemLog->setHandler([verbose](const std::string& line) {
      if (verbose) std::cout << "    [sdk] " << line << std::endl;
    });
    platform::Platform::install(platform);

    demo::Journey journey(emulator, *platform, std::cout, interrupt);
    status = journey.play() ? 0 : 1;
    if (journey.interrupted()) status = 130;

    if (serve && !journey.interrupted()) {
      std::cout << "\nServing: the emulator's page is at " << emulator.url("/") << " (JSON at "
                << emulator.url("/requests.json") << "). Ctrl-C stops." << std::endl;
      for (;;) {
        platform->mainLoop->runFor(0.1);
        const timespec now{0, 0};
        if (sigtimedwait(&interrupt, nullptr, &now) > 0) break;
      }
    }
    platform::Platform::install(nullptr);
    platform.reset();
  } catch (const std::exception& failure) {
    std::cerr << "tavo-demo: " << failure.what() << "\n";
    status = 1;
  }
  if (temporary) fs::remove_all(dataDirectory, error);
  return status;
}
