// B8: the tracking call as a real host sees it. A host in plain C (BurstHost.c, its own process, libtavo
// through tavo.h, the real platform) tracks a burst of 10,500 events within one 1-second queue window against
// the web-service emulator, which runs here; each call is timed alone. Reports the host's p50, p99 and max, and
// how many of the burst's events the web service received, each counted once by its number.
//
// TAVO_BENCH_EVENTS=n bursts n events instead.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <mutex>
#include <stdexcept>
#include <string>
#include <vector>

#include "SdkTestEnvironment.h"
#include "emulator/Emulator.h"

extern char** environ;

namespace tavo::bench {
namespace {

constexpr std::size_t kDefaultEvents = 10500;
constexpr const char* kToken = "b8_burst";
constexpr double kDeliveryPatienceSeconds = 60;

std::size_t eventCount() {
  const char* text = std::getenv("TAVO_BENCH_EVENTS");
  const long count = text ? std::atol(text) : 0;
  return count > 0 ? static_cast<std::size_t>(count) : kDefaultEvents;
}

double loadAverage() {
  std::ifstream file("/proc/loadavg");
  double oneMinute = 0;
  file >> oneMinute;
  return oneMinute;
}

// What the web service received of the burst: per event number, how many times.
class DeliveryCount {
 public:
  explicit DeliveryCount(std::size_t events) : times_(events, 0) {}

  void record(const emulator::RecordedRequest& request) {
    std::lock_guard lock(mutex_);
    for (std::size_t i = 0; i < request.operations.size(); ++i) {
      const auto* params = request.params(i);
      if (!params || params->value("eventName", "") != kToken) continue;
      const auto attributes = params->find("attributes");
      if (attributes == params->end() || !attributes->is_object()) continue;
      const std::size_t n = std::strtoul(attributes->value("n", "").c_str(), nullptr, 10);
      if (n >= times_.size()) continue;
      if (times_[n]++ == 0) ++distinct_;
      ++received_;
    }
    changed_.notify_all();
  }
  bool waitForAll(double seconds) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, std::chrono::duration<double>(seconds), [&] { return distinct_ == times_.size(); });
  }
  std::size_t distinct() const {
    std::lock_guard lock(mutex_);
    return distinct_;
  }
  std::size_t duplicates() const {
    std::lock_guard lock(mutex_);
    return received_ - distinct_;
  }

 private:
  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<unsigned> times_;
  std::size_t distinct_ = 0;
  std::size_t received_ = 0;
};

// The host process, its standard input and output on pipes.
class HostProcess {
 public:
  explicit HostProcess(const std::vector<std::string>& arguments) {
    int toHost[2];
    int fromHost[2];
    if (pipe2(toHost, O_CLOEXEC) != 0 || pipe2(fromHost, O_CLOEXEC) != 0) throw std::runtime_error("pipe failed");
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, toHost[0], STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, fromHost[1], STDOUT_FILENO);
    std::vector<char*> argv;
    for (const auto& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
    argv.push_back(nullptr);
    const int failed = posix_spawn(&pid_, argv[0], &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    close(toHost[0]);
    close(fromHost[1]);
    toHost_ = toHost[1];
    output_ = fdopen(fromHost[0], "r");
    if (failed != 0) throw std::runtime_error("cannot start " + arguments[0]);
  }
  ~HostProcess() {
    if (toHost_ >= 0) close(toHost_);
    if (output_) std::fclose(output_);
    if (pid_ > 0) waitpid(pid_, nullptr, 0);
  }
  HostProcess(const HostProcess&) = delete;
  HostProcess& operator=(const HostProcess&) = delete;

  // The host's next line, "" at its end.
  std::string readLine() {
    char line[512];
    return std::fgets(line, sizeof line, output_) ? std::string(line) : std::string();
  }
  void tell() {
    const char line = '\n';
    if (write(toHost_, &line, 1) != 1) throw std::runtime_error("the host is gone");
  }

 private:
  pid_t pid_ = -1;
  int toHost_ = -1;
  FILE* output_ = nullptr;
};

void Burst(benchmark::State& state) {
  const std::size_t events = eventCount();
  for (auto _ : state) {
    const double load = loadAverage();
    DeliveryCount delivered(events);
    emulator::Emulator web;
    web.setRequestObserver([&](const emulator::RecordedRequest& request) { delivered.record(request); });
    testing::TemporaryDirectory data;
    HostProcess host({TAVO_BURST_HOST_PATH, data.path(), web.baseURL(), std::to_string(events)});
    if (host.readLine() != "flushed\n") {
      state.SkipWithError("the host did not flush its burst");
      break;
    }
    delivered.waitForAll(kDeliveryPatienceSeconds);
    host.tell();
    long long p50 = 0, p99 = 0, max = 0, cpu = 0;
    std::size_t started = 0, failed = 0, startedInBurst = 0;
    double faults = 0;
    const std::string figures = host.readLine();
    if (std::sscanf(figures.c_str(), "%lld %lld %lld %zu %zu %zu %lld %lf", &p50, &p99, &max, &started, &failed,
                    &startedInBurst, &cpu, &faults) != 8) {
      state.SkipWithError("the host reported no figures");
      break;
    }
    state.SetIterationTime(static_cast<double>(p50) * 1e-9);
    state.counters["p50_us"] = static_cast<double>(p50) / 1000.0;
    state.counters["p99_us"] = static_cast<double>(p99) / 1000.0;
    state.counters["max_us"] = static_cast<double>(max) / 1000.0;
    state.counters["cpu_us_per_call"] = static_cast<double>(cpu) / 1000.0;
    state.counters["faults_per_call"] = faults;
    state.counters["delivered"] = static_cast<double>(delivered.distinct());
    state.counters["duplicates"] = static_cast<double>(delivered.duplicates());
    state.counters["failed"] = static_cast<double>(failed);
    state.counters["started_in_burst"] = static_cast<double>(startedInBurst);
    state.counters["load"] = load;
    if (delivered.distinct() != events || delivered.duplicates() > 0 || failed > 0 || started != events)
      state.SkipWithError("not every event was delivered exactly once");
  }
}

BENCHMARK(Burst)->Iterations(1)->UseManualTime()->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace tavo::bench

BENCHMARK_MAIN();
