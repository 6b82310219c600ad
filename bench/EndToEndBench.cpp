// B6: 100,000 events tracked through the facade by a host that pumps its main loop, batched by a 1-second
// queue timer and delivered with the real libcurl client over loopback to the web-service emulator, until the
// last event's answer is acknowledged. Reports events per second from the first call to that answer, and the
// growth of the host process's peak resident memory over the run.
//
// With emulator_in_child:1 the emulator runs in a child process, so the memory figure is the host's alone, as
// on a device; with emulator_in_child:0 it runs on threads of this process, where its own peak (the parsed
// batches and their records) adds to the host's.
#include <benchmark/benchmark.h>
#include <malloc.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

#include "BenchEnvironment.h"
#include "EmulatorProcess.h"
#include "EndToEndHost.h"
#include "ResidentMemory.h"
#include "emulator/Emulator.h"
#include "tavo/TAVO.h"

namespace tavo::bench {
namespace {

constexpr std::size_t kDefaultEvents = 100000;
constexpr std::size_t kEventsPerFrame = 100;                 // tracked between two pumps of the main loop
constexpr double kPatienceSeconds = 120;                     // for the answers, after the last call
constexpr const char* kSessionKey = "DEMOAPP0001KEY123456";  // registered in the emulator's fixtures

struct Outcome {
  double seconds = 0;
  // Phases, in seconds from the first call: the last call returned, the first event's request was built and
  // about to be sent, the last answer came back (handling it takes the rest).
  double tracked = 0;
  double firstRequestBuilt = 0;
  double lastAnswer = 0;
  std::size_t started = 0;  // events handed to a request
  std::size_t failed = 0;   // events whose request failed
  std::size_t requests = 0;
  std::size_t largestBody = 0;
  long peakGrowthKiB = 0;
};

// TAVO_BENCH_EVENTS=n tracks n events instead, for a quick run under a sanitizer.
std::size_t eventCount() {
  const char* text = std::getenv("TAVO_BENCH_EVENTS");
  const long count = text ? std::atol(text) : 0;
  return count > 0 ? static_cast<std::size_t>(count) : kDefaultEvents;
}

Outcome trackAndDeliver(const std::string& baseURL, std::size_t events) {
  EndToEndHost host;
  TAVOConfiguration configuration{std::string(kSessionKey)};
  configuration.urlBase = baseURL;
  configuration.queueTime = 1;
  TAVOLegacy::startSessionWithConfiguration(configuration);
  auto& mainLoop = host.mainLoop();
  if (!mainLoop.runUntil([] { return TAVOLegacy::isSessionStarted(); }, 10))
    throw std::runtime_error("the session did not start against the emulator");
  host.drain();

  // Plain events hear no success: an event is delivered when its request started, was answered and
  // handled, and it was never reported failed. The counts outlive this call for a late callback.
  using Clock = std::chrono::steady_clock;
  struct Heard {
    std::atomic<std::size_t> started{0};
    std::atomic<std::size_t> failed{0};
    std::atomic<Clock::rep> firstStarted{0};
  };
  const auto heard = std::make_shared<Heard>();
  const auto delegate = std::make_shared<TAVORequestDelegate>();
  delegate->onStarted = [heard](const std::string&) {
    if (heard->started.fetch_add(1) == 0) heard->firstStarted.store(Clock::now().time_since_epoch().count());
  };
  delegate->onFailed = [heard](const std::string&) { heard->failed.fetch_add(1); };
  const auto& http = host.http();
  const std::size_t requestsBefore = http.sent();
  auto delivered = [&] {
    return (heard->started.load() == events && http.answered() == http.sent()) || heard->failed.load() > 0;
  };

  // What earlier runs freed goes back to the system first, so the peak counts this run's memory alone.
  malloc_trim(0);
  ResidentMemory::resetPeak();
  const long baselineKiB = ResidentMemory::peakKiB();
  const auto begin = Clock::now();
  for (std::size_t i = 0; i < events; ++i) {
    // A request of its own per event, as a host makes them.
    TAVOEventRequest event = BenchEnvironment::sampleEvent();
    event.requestDelegate = delegate;
    TAVOLegacy::trackEvent(event);
    if (i % kEventsPerFrame == kEventsPerFrame - 1) mainLoop.runPending();
  }
  const auto tracked = Clock::now();
  const auto deadline = tracked + std::chrono::duration<double>(kPatienceSeconds);
  for (;;) {
    const double left = std::chrono::duration<double>(deadline - Clock::now()).count();
    if (left <= 0 || !mainLoop.runUntil(delivered, left)) break;
    host.drain();
    if (delivered()) break;  // handling the answers sent nothing more (no retry)
  }
  Outcome outcome;
  const auto seconds = [&](Clock::duration d) { return std::chrono::duration<double>(d).count(); };
  outcome.seconds = seconds(Clock::now() - begin);
  outcome.tracked = seconds(tracked - begin);
  outcome.firstRequestBuilt = seconds(Clock::time_point(Clock::duration(heard->firstStarted.load())) - begin);
  outcome.lastAnswer = seconds(http.lastAnswerAt() - begin);
  outcome.peakGrowthKiB = ResidentMemory::peakKiB() - baselineKiB;
  outcome.started = heard->started.load();
  outcome.failed = heard->failed.load();
  outcome.requests = http.sent() - requestsBefore;
  outcome.largestBody = http.largestBody();
  return outcome;
}

void EndToEnd(benchmark::State& state) {
  const bool separateProcess = state.range(0) == 1;
  const std::size_t events = eventCount();
  for (auto _ : state) {
    Outcome outcome;
    std::optional<EmulatorProcess> child;
    std::optional<emulator::Emulator> sameProcess;
    long emulatorPeakKiB = 0;
    if (separateProcess) {
      malloc_trim(0);  // the child starts from this process's pages: fewer of them
      child.emplace();
      outcome = trackAndDeliver(child->baseURL(), events);
      emulatorPeakKiB = child->stop();
    } else {
      sameProcess.emplace();
      outcome = trackAndDeliver(sameProcess->baseURL(), events);
    }
    state.SetIterationTime(outcome.seconds);
    if (outcome.failed > 0 || outcome.started != events) {
      const std::string what = std::to_string(outcome.started) + " events sent, " + std::to_string(outcome.failed) +
                               " failed, in " + std::to_string(outcome.seconds) + " s";
      state.SkipWithError(what.c_str());
      break;
    }
    state.counters["events_per_s"] = static_cast<double>(events) / outcome.seconds;
    state.counters["peak_rss_growth_MB"] = static_cast<double>(outcome.peakGrowthKiB) / 1024.0;
    state.counters["batches"] = static_cast<double>(outcome.requests);
    state.counters["largest_body_MB"] = static_cast<double>(outcome.largestBody) / (1024.0 * 1024.0);
    state.counters["tracked_s"] = outcome.tracked;
    state.counters["first_request_built_s"] = outcome.firstRequestBuilt;
    state.counters["last_answer_s"] = outcome.lastAnswer;
    if (separateProcess) state.counters["emulator_peak_rss_MB"] = static_cast<double>(emulatorPeakKiB) / 1024.0;
  }
}

// The child process must be forked while this process has no thread yet: the separate-process run goes first.
BENCHMARK(EndToEnd)
    ->ArgName("emulator_in_child")
    ->Arg(1)
    ->Arg(0)
    ->Iterations(1)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace tavo::bench

BENCHMARK_MAIN();
