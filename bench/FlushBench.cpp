// B3: one flush of the gathered batch into a "tracker" request, measured on the caller's thread up to the
// hand-off to the HTTP client (which takes the request and never answers).
#include <benchmark/benchmark.h>

#include <memory>
#include <vector>

#include "BenchEnvironment.h"
#include "LatencySamples.h"
#include "core/TAVOController.h"
#include "network/TAVOOperation.h"
#include "network/TAVORequestController.h"
#include "tracking/TAVOEvent.h"

namespace tavo::bench {
namespace {

// Operations as trackEvent makes them, made once and queued again before every flush.
std::vector<std::shared_ptr<TAVOOperation>> gatheredEvents(std::size_t count) {
  std::vector<std::shared_ptr<TAVOOperation>> operations;
  for (std::size_t i = 0; i < count; ++i) {
    auto event = std::make_shared<TAVOEvent>();
    event->initWithRequest(BenchEnvironment::sampleEvent());
    operations.push_back(TAVOOperation::operationWithTransmitObject(event));
  }
  return operations;
}

void Flush(benchmark::State& state) {
  BenchEnvironment env;
  env.startSession();
  const auto client = env.dropRequests();
  const auto requests = TAVOController::sharedInstance().requestController();
  const auto operations = gatheredEvents(static_cast<std::size_t>(state.range(0)));
  LatencySamples samples(static_cast<std::size_t>(state.max_iterations));
  std::size_t flushes = 0;
  for (auto _ : state) {
    for (const auto& operation : operations) requests->addOperationToQueue(operation);
    samples.time(state, [&] { requests->sendOperations(); });
    ++flushes;
  }
  if (client->requestCount() != flushes) state.SkipWithError("a flush did not hand exactly one request over");
  samples.report(state);
  state.counters["body_bytes"] = static_cast<double>(client->lastBodySize());
}

BENCHMARK(Flush)->Arg(10)->Arg(100)->Arg(1000)->UseManualTime()->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace tavo::bench

BENCHMARK_MAIN();
