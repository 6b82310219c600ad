// B7: heap held per gathered event, for 10,000 events tracked through the facade and waiting for a flush.
// Two views: the counting operator new (C++ blocks obtained minus released, usable sizes) and the C
// library's own figure of bytes in use (mallinfo2), which also sees chunk headers and C allocations.
#include <benchmark/benchmark.h>
#include <malloc.h>

#include "AllocationCounter.h"
#include "BenchEnvironment.h"
#include "core/TAVOController.h"
#include "network/TAVORequestController.h"
#include "tavo/TAVO.h"

namespace tavo::bench {
namespace {

constexpr std::size_t kEvents = 10000;

void MemoryPerQueuedEvent(benchmark::State& state) {
  BenchEnvironment env;
  env.startSession();
  env.dropRequests();
  const auto requests = TAVOController::sharedInstance().requestController();
  const TAVOEventRequest event = BenchEnvironment::sampleEvent();
  AllocationCounter counter;
  for (auto _ : state) {
    // One event through first, so caches that fill once are not charged to the batch.
    TAVOLegacy::trackEvent(event);
    requests->sendOperations();
    malloc_trim(0);
    const auto before = mallinfo2().uordblks;
    counter.start();
    // A request of its own per event, as a host makes them: attributes the SDK keeps are charged to it.
    for (std::size_t i = 0; i < kEvents; ++i) TAVOLegacy::trackEvent(BenchEnvironment::sampleEvent());
    const auto totals = counter.stop();
    const auto after = mallinfo2().uordblks;
    if (requests->gatheredOperationCount() != kEvents) {
      state.SkipWithError("the events were not all gathered");
      break;
    }
    const double events = static_cast<double>(kEvents);
    state.counters["live_bytes_per_event"] = static_cast<double>(totals.liveBytes) / events;
    state.counters["malloc_bytes_per_event"] = (static_cast<double>(after) - static_cast<double>(before)) / events;
    state.counters["allocations_per_event"] = static_cast<double>(totals.allocations) / events;
    requests->sendOperations();
  }
  if (!AllocationCounter::isAvailable()) state.SkipWithError("built without the counting allocator");
}

BENCHMARK(MemoryPerQueuedEvent)->Iterations(1)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace tavo::bench

BENCHMARK_MAIN();
