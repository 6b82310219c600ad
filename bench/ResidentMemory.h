#pragma once

namespace tavo::bench {

// This process's resident memory as the kernel counts it (/proc/self/status), in KiB.
class ResidentMemory {
 public:
  static long currentKiB();  // VmRSS
  static long peakKiB();     // VmHWM: the highest VmRSS so far
  // Lowers the peak to the current figure, so a later peak is the peak of what ran since. False when the
  // kernel refuses; the peak then still counts from the process's start.
  static bool resetPeak();
};

}  // namespace tavo::bench
