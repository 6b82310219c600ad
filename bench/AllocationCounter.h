#pragma once

#include <cstdint>

namespace tavo::bench {

// Counts the heap allocations (operator new, every form) made by the calling thread between start() and
// stop(). Linking AllocationCounter.cpp replaces the program's global operator new and delete; other
// threads, and this one outside a count, pay one thread-local test per call. Allocations of C code
// (SQLite, libplist) go to malloc directly and are not seen. Built with a sanitizer the counter is off.
class AllocationCounter {
 public:
  struct Totals {
    std::uint64_t allocations = 0;
    std::uint64_t allocatedBytes = 0;  // usable bytes of every block obtained
    std::int64_t liveBytes = 0;        // obtained minus released during the count
  };

  // False when the program was built without the counting operator new (sanitizer builds).
  static bool isAvailable();

  void start();
  Totals stop();
};

}  // namespace tavo::bench
