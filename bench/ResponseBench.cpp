// B4: the web service's answer to a batch of plain events, read by the response handler: every operation
// finds its own status among the answer's operations.
#include <benchmark/benchmark.h>

#include <memory>
#include <vector>

#include "BenchEnvironment.h"
#include "LatencySamples.h"
#include "network/TAVOOperation.h"
#include "network/TAVORequest.h"
#include "network/TAVOResponseHandler.h"
#include "platform/JSONSerialization.h"
#include "tracking/TAVOEvent.h"

namespace tavo::bench {
namespace {

void ProcessResponse(benchmark::State& state) {
  BenchEnvironment env;
  env.startSession();
  env.dropRequests();
  std::vector<std::shared_ptr<TAVOOperation>> operations;
  platform::Array answers;
  for (std::int64_t i = 0; i < state.range(0); ++i) {
    auto event = std::make_shared<TAVOEvent>();
    event->initWithRequest(BenchEnvironment::sampleEvent());
    operations.push_back(TAVOOperation::operationWithTransmitObject(event));
    answers.emplace_back(platform::Dictionary{{"id", operations.back()->operationId},
                                              {"response", platform::Dictionary{{"status", 200}}}});
  }
  const auto request = TAVORequest::requestWithOperations(operations);
  const std::string body = *platform::JSONSerialization::dataWithJSONObject(
      platform::Value(platform::Dictionary{{"status", 200}, {"operations", platform::Value(std::move(answers))}}));
  const TAVOResponseHandler handler;
  std::size_t successes = 0;
  std::size_t failures = 0;
  const TAVOResponseHandler::ResponseBlock block = [&](const std::optional<TAVOError>& error) {
    ++(error ? failures : successes);
  };
  LatencySamples samples(static_cast<std::size_t>(state.max_iterations));
  for (auto _ : state) samples.time(state, [&] { handler.processResponse(body, request, block); });
  if (failures != 0 || successes != operations.size() * samples.size())
    state.SkipWithError("not every operation was answered with success");
  samples.report(state);
  state.counters["body_bytes"] = static_cast<double>(body.size());
}

BENCHMARK(ProcessResponse)->Arg(10)->Arg(100)->Arg(1000)->UseManualTime()->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace tavo::bench

BENCHMARK_MAIN();
