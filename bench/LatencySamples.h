#pragma once

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstddef>
#include <vector>

namespace tavo::bench {

// Durations of single calls, for the median and the tail that a mean hides. Each call is timed on the wall
// clock (what the host waits) and on the calling thread's CPU clock (what it costs, unaffected by other
// processes taking the machine's cores).
class LatencySamples {
 public:
  using Clock = std::chrono::steady_clock;

  explicit LatencySamples(std::size_t expected = 0);

  // Times one call, reports its wall time as the iteration's time (the benchmark uses manual time) and
  // keeps both times.
  template <class Call>
  void time(benchmark::State& state, Call&& call) {
    const auto cpuBegin = threadCpuNanoseconds();
    const auto begin = Clock::now();
    call();
    const auto elapsed = Clock::now() - begin;
    const auto cpu = threadCpuNanoseconds() - cpuBegin;
    state.SetIterationTime(std::chrono::duration<double>(elapsed).count());
    add(elapsed, cpu);
  }
  void add(Clock::duration elapsed, double cpuNanoseconds = 0);

  std::size_t size() const { return wall_.size(); }
  // The p-th percentile (0..100) of the wall times in nanoseconds, nearest rank; 0 without samples.
  double percentile(double p) { return percentileOf(wall_, p); }
  double cpuPercentile(double p) { return percentileOf(cpu_, p); }
  // Adds p50_us, p99_us, max_us (wall) and cpu_p50_us, cpu_p99_us to the benchmark's report.
  void report(benchmark::State& state);

  static double threadCpuNanoseconds();

 private:
  static double percentileOf(std::vector<double>& samples, double p);

  std::vector<double> wall_;
  std::vector<double> cpu_;
};

}  // namespace tavo::bench
