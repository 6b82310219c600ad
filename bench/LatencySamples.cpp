#include "LatencySamples.h"

#include <time.h>

#include <algorithm>
#include <cmath>

namespace tavo::bench {

LatencySamples::LatencySamples(std::size_t expected) {
  wall_.reserve(expected);
  cpu_.reserve(expected);
}

void LatencySamples::add(Clock::duration elapsed, double cpuNanoseconds) {
  wall_.push_back(static_cast<double>(std::chrono::duration_cast<std::chrono::nanoseconds>(elapsed).count()));
  cpu_.push_back(cpuNanoseconds);
}

double LatencySamples::threadCpuNanoseconds() {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) * 1e9 + static_cast<double>(now.tv_nsec);
}

double LatencySamples::percentileOf(std::vector<double>& samples, double p) {
  if (samples.empty()) return 0;
  const double count = static_cast<double>(samples.size());
  const double rank = std::clamp(std::ceil(p / 100.0 * count), 1.0, count);
  const auto index = static_cast<std::ptrdiff_t>(rank) - 1;
  std::nth_element(samples.begin(), samples.begin() + index, samples.end());
  return samples[static_cast<std::size_t>(index)];
}

void LatencySamples::report(benchmark::State& state) {
  state.counters["p50_us"] = percentile(50) / 1000.0;
  state.counters["p99_us"] = percentile(99) / 1000.0;
  state.counters["max_us"] = percentile(100) / 1000.0;
  state.counters["cpu_p50_us"] = cpuPercentile(50) / 1000.0;
  state.counters["cpu_p99_us"] = cpuPercentile(99) / 1000.0;
}

}  // namespace tavo::bench
