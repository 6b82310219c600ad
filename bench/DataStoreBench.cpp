// B5: the archived user written to and read from the SQLite store, as every login and every start do.
#include <benchmark/benchmark.h>

#include "BenchEnvironment.h"
#include "LatencySamples.h"
#include "core/TAVOController.h"
#include "tracking/TAVOUserController.h"

namespace tavo::bench {
namespace {

void SaveUser(benchmark::State& state) {
  BenchEnvironment env;
  env.startSession();
  env.dropRequests();
  const auto user = TAVOController::sharedInstance().currentUser();
  LatencySamples samples(static_cast<std::size_t>(state.max_iterations));
  for (auto _ : state) samples.time(state, [&] { TAVOUserController::saveUser(user); });
  samples.report(state);
}

void GetSavedUser(benchmark::State& state) {
  BenchEnvironment env;
  env.startSession();
  env.dropRequests();
  const auto expected = TAVOController::sharedInstance().currentUser();
  LatencySamples samples(static_cast<std::size_t>(state.max_iterations));
  std::shared_ptr<TAVOUser> loaded;
  for (auto _ : state) samples.time(state, [&] { loaded = TAVOUserController::getSavedUser(); });
  if (!loaded || loaded->tAVoUserID != expected->tAVoUserID || loaded->userMail != expected->userMail)
    state.SkipWithError("the stored user did not read back");
  samples.report(state);
}

BENCHMARK(SaveUser)->UseManualTime()->Unit(benchmark::kMicrosecond);
BENCHMARK(GetSavedUser)->UseManualTime()->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace tavo::bench

BENCHMARK_MAIN();
