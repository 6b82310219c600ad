#include "ResidentMemory.h"

#include <fstream>
#include <string>

namespace tavo::bench {

namespace {

long statusField(const std::string& name) {
  std::ifstream status("/proc/self/status");
  std::string line;
  while (std::getline(status, line)) {
    if (line.compare(0, name.size() + 1, name + ":") == 0) return std::stol(line.substr(name.size() + 1));
  }
  return 0;
}

}  // namespace

long ResidentMemory::currentKiB() { return statusField("VmRSS"); }

long ResidentMemory::peakKiB() { return statusField("VmHWM"); }

bool ResidentMemory::resetPeak() {
  std::ofstream clear("/proc/self/clear_refs");
  clear << "5";  // "reset the peak resident set size"
  clear.flush();
  return static_cast<bool>(clear);
}

}  // namespace tavo::bench
