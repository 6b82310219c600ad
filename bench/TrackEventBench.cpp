// B1: one trackEvent through the facade on the main thread, session started, event gathered for the next
// timed flush. The batch is flushed (unmeasured) every kBatch calls so memory stays bounded.
#include <benchmark/benchmark.h>

#include "BenchEnvironment.h"
#include "LatencySamples.h"
#include "core/TAVOController.h"
#include "network/TAVORequestController.h"
#include "tavo/TAVO.h"

namespace tavo::bench {
namespace {

constexpr std::size_t kBatch = 1000;

void TrackEvent(benchmark::State& state) {
  BenchEnvironment env;
  env.startSession();
  const auto client = env.dropRequests();
  const auto requests = TAVOController::sharedInstance().requestController();
  const TAVOEventRequest event = BenchEnvironment::sampleEvent();
  LatencySamples samples(static_cast<std::size_t>(state.max_iterations));
  std::size_t flushes = 0;
  for (auto _ : state) {
    samples.time(state, [&] { TAVOLegacy::trackEvent(event); });
    if (requests->gatheredOperationCount() == kBatch) {
      requests->sendOperations();
      ++flushes;
    }
  }
  // Anything sent other than the batches would mean the event took another path (a rule check).
  if (client->requestCount() != flushes) state.SkipWithError("an event was sent at once instead of gathered");
  samples.report(state);
}

BENCHMARK(TrackEvent)->UseManualTime()->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace tavo::bench

BENCHMARK_MAIN();
