// B1: one trackEvent through the facade on the main thread, session started, event gathered for the next
// timed flush; once with nothing in the attribution store and once with three open campaigns, which every
// event then carries. The batch is flushed (unmeasured) every kBatch calls so memory stays bounded.
#include <benchmark/benchmark.h>

#include "BenchEnvironment.h"
#include "LatencySamples.h"
#include "core/TAVOController.h"
#include "network/TAVORequestController.h"
#include "tavo/TAVO.h"

namespace tavo::bench {
namespace {

constexpr std::size_t kBatch = 1000;
// Virtual time between two calls: a host tracking a burst of events, each stamped with its own time.
constexpr double kCallSpacing = 10e-6;

void trackEvents(benchmark::State& state, int openCampaigns) {
  BenchEnvironment env;
  env.startSession();
  if (openCampaigns > 0) env.openAttributionCampaigns(openCampaigns);
  const auto client = env.dropRequests();
  const auto requests = TAVOController::sharedInstance().requestController();
  const TAVOEventRequest event = BenchEnvironment::sampleEvent();
  LatencySamples samples(static_cast<std::size_t>(state.max_iterations));
  std::size_t flushes = 0;
  auto& clock = env.sdk().clock();
  clock.advance(0.25);  // off the whole second the test clock starts on, as a real clock would be
  for (auto _ : state) {
    clock.advance(kCallSpacing);
    samples.time(state, [&] { TAVOLegacy::trackEvent(event); });
    if (requests->gatheredOperationCount() == kBatch) {
      requests->sendOperations();
      ++flushes;
    }
  }
  // Anything sent other than the batches would mean the event took another path (a rule check).
  if (client->requestCount() != flushes) state.SkipWithError("an event was sent at once instead of gathered");
  // Each event of the last batch names every open campaign once (its "hash").
  if (flushes > 0 && client->lastBodyOccurrences("\"hash\"") != kBatch * static_cast<std::size_t>(openCampaigns))
    state.SkipWithError("the events did not carry the open campaigns");
  samples.report(state);
}

void TrackEvent(benchmark::State& state) { trackEvents(state, 0); }
void TrackEventWithOpenCampaigns(benchmark::State& state) { trackEvents(state, static_cast<int>(state.range(0))); }

BENCHMARK(TrackEvent)->UseManualTime()->Unit(benchmark::kMicrosecond);
BENCHMARK(TrackEventWithOpenCampaigns)->Arg(3)->UseManualTime()->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace tavo::bench

BENCHMARK_MAIN();
