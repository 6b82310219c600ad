// B2: a new process on an existing installation: a fresh shared controller and the configured start, on a
// data directory whose SQLite store already holds a user with a server id, session data and the device id.
#include <benchmark/benchmark.h>

#include "BenchEnvironment.h"
#include "LatencySamples.h"
#include "core/TAVOController.h"
#include "core/TAVOSessionController.h"
#include "tavo/TAVO.h"

namespace tavo::bench {
namespace {

void ColdStart(benchmark::State& state) {
  BenchEnvironment env;
  // The first process: installs, learns the user's server id, ends a session so its data is stored.
  env.startSession();
  TAVOController::sharedInstance().sessionController()->endSession();
  LatencySamples samples(static_cast<std::size_t>(state.max_iterations));
  LatencySamples platformStarts(static_cast<std::size_t>(state.max_iterations));
  for (auto _ : state) {
    // Not measured: the host's own platform services of the new process (the store is opened here).
    const auto begin = LatencySamples::Clock::now();
    env.restart();
    platformStarts.add(LatencySamples::Clock::now() - begin);
    const auto client = env.dropRequests();
    samples.time(state, [] {
      TAVOController::sharedInstance();
      TAVOLegacy::startSessionWithConfiguration(BenchEnvironment::configuration());
    });
    // The start-session event and the initial user update leave; no install event on a known device.
    if (client->requestCount() != 2) {
      state.SkipWithError("a cold start did not send exactly its two requests");
      break;
    }
  }
  samples.report(state);
  state.counters["platform_p50_us"] = platformStarts.percentile(50) / 1000.0;
}

// Each iteration leaves a retired controller (and its queue thread) behind: keep the count modest.
BENCHMARK(ColdStart)->UseManualTime()->Unit(benchmark::kMicrosecond)->Iterations(150);

}  // namespace
}  // namespace tavo::bench

BENCHMARK_MAIN();
