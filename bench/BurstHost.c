/* B8's host: a program in plain C that includes only tavo/tavo.h and links libtavo, as an application does.
 *
 *   tavo_bench_burst_host DATA_DIR BASE_URL COUNT
 *
 * It starts a session on the real platform (system clock, SQLite store, libcurl) against BASE_URL with a queue
 * time of 1 s, builds COUNT event requests beforehand (token "b8_burst", five string attributes, the last the
 * event's number "n" so the web service can tell each event apart, a request delegate), waits for a flush so
 * that the burst opens a queue window, then tracks them in one burst. Each call is timed alone on the monotonic
 * clock; the main loop is pumped, untimed, every 1,000 calls.
 *
 * Then it pumps until the batch was flushed, prints "flushed", and keeps pumping until the driver writes a line
 * (the web service has the events) or closes stdin, pumps half a second more for the answer to be handled and
 * prints one line of figures: p50_ns p99_ns max_ns started failed started_in_burst cpu_ns_per_call
 * minor_faults_per_call. Exit status 0 unless the session could not be started. */

#define _GNU_SOURCE
#include <poll.h>
#include <stdatomic.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/resource.h>
#include <time.h>
#include <unistd.h>

#include "tavo/tavo.h"

enum { kCallsPerPump = 1000 };

static atomic_size_t started_count;
static atomic_size_t failed_count;
static atomic_int window_opened;

static void on_started(const char* id, void* user_data) {
  (void)id;
  (void)user_data;
  atomic_fetch_add(&started_count, 1);
}

static void on_failed(const char* id, void* user_data) {
  (void)id;
  (void)user_data;
  atomic_fetch_add(&failed_count, 1);
}

static void on_window_started(const char* id, void* user_data) {
  (void)id;
  (void)user_data;
  atomic_store(&window_opened, 1);
}

static void quiet(const char* line, void* user_data) {
  (void)line;
  (void)user_data;
}

static int64_t nanoseconds(clockid_t clock) {
  struct timespec now;
  clock_gettime(clock, &now);
  return (int64_t)now.tv_sec * 1000000000 + now.tv_nsec;
}

static int compare(const void* a, const void* b) {
  const int64_t x = *(const int64_t*)a;
  const int64_t y = *(const int64_t*)b;
  return (x > y) - (x < y);
}

/* Nearest rank. */
static int64_t percentile(const int64_t* sorted, size_t count, double p) {
  size_t rank = (size_t)(p / 100.0 * (double)count + 0.999999);
  if (rank < 1) rank = 1;
  if (rank > count) rank = count;
  return sorted[rank - 1];
}

/* Pumps until done() or the time is up; true when done() held. */
static int pump_until(int (*done)(void), double seconds) {
  const int64_t deadline = nanoseconds(CLOCK_MONOTONIC) + (int64_t)(seconds * 1e9);
  while (!done()) {
    if (nanoseconds(CLOCK_MONOTONIC) > deadline) return 0;
    tavo_main_loop_run_for(0.005);
  }
  return 1;
}

static int session_started(void) { return tavo_is_session_started(); }
static int window_is_open(void) { return atomic_load(&window_opened); }

static size_t burst_count;
static int burst_flushed(void) { return atomic_load(&started_count) >= burst_count; }

static int driver_spoke(void) {
  struct pollfd in = {STDIN_FILENO, POLLIN, 0};
  return poll(&in, 1, 0) > 0;
}

int main(int argc, char** argv) {
  if (argc < 4) {
    fprintf(stderr, "usage: tavo_bench_burst_host DATA_DIR BASE_URL COUNT\n");
    return 2;
  }
  const size_t count = (size_t)strtoul(argv[3], NULL, 10);
  burst_count = count;
  tavo_platform_set_data_directory(argv[1]);
  tavo_platform_set_log_handler(quiet, NULL);
  tavo_platform_set_bundle_info("1.0", "100", "Burst Host");

  tavo_configuration* configuration = tavo_configuration_new("DEMOAPP0001KEY123456");
  tavo_configuration_set_url_base(configuration, argv[2]);
  tavo_configuration_set_queue_time(configuration, 1);
  tavo_start_session_with_configuration(configuration);
  tavo_configuration_free(configuration);
  if (!pump_until(session_started, 10.0)) {
    fprintf(stderr, "burst host: the session did not start\n");
    return 1;
  }

  const tavo_request_delegate delegate = {on_started, NULL, on_failed, NULL};
  tavo_event_request** requests = calloc(count, sizeof *requests);
  int64_t* latencies = calloc(count, sizeof *latencies);
  if (!requests || !latencies) return 1;
  for (size_t i = 0; i < count; ++i) {
    char attributes[256];
    snprintf(attributes, sizeof attributes,
             "{\"product_id\": \"SKU-000123\", \"category\": \"outdoor/footwear\", \"price\": \"129.90\", "
             "\"currency\": \"EUR\", \"n\": \"%zu\"}",
             i);
    requests[i] = tavo_event_request_new("b8_burst");
    tavo_event_request_set_attributes_json(requests[i], attributes);
    tavo_event_request_set_delegate(requests[i], &delegate);
  }

  /* The flush timer's next tick opens the window: the whole burst then fits in the second that follows. */
  tavo_event_request* marker = tavo_event_request_new("b8_window");
  const tavo_request_delegate window = {on_window_started, NULL, NULL, NULL};
  tavo_event_request_set_delegate(marker, &window);
  tavo_track_event(marker);
  pump_until(window_is_open, 5.0);

  struct rusage usage_before, usage_after;
  getrusage(RUSAGE_THREAD, &usage_before);
  const int64_t cpu_before = nanoseconds(CLOCK_THREAD_CPUTIME_ID);
  for (size_t i = 0; i < count; ++i) {
    const int64_t begin = nanoseconds(CLOCK_MONOTONIC);
    tavo_track_event(requests[i]);
    latencies[i] = nanoseconds(CLOCK_MONOTONIC) - begin;
    if (i % kCallsPerPump == kCallsPerPump - 1) tavo_main_loop_run_pending();
  }
  const int64_t cpu_ns = nanoseconds(CLOCK_THREAD_CPUTIME_ID) - cpu_before;
  getrusage(RUSAGE_THREAD, &usage_after);
  const size_t started_in_burst = atomic_load(&started_count);

  pump_until(burst_flushed, 10.0);
  printf("flushed\n");
  fflush(stdout);
  pump_until(driver_spoke, 60.0);
  tavo_main_loop_run_for(0.5);

  qsort(latencies, count, sizeof *latencies, compare);
  printf("%lld %lld %lld %zu %zu %zu %lld %.3f\n", (long long)percentile(latencies, count, 50),
         (long long)percentile(latencies, count, 99), (long long)(count ? latencies[count - 1] : 0),
         atomic_load(&started_count), atomic_load(&failed_count), started_in_burst,
         (long long)(count ? cpu_ns / (int64_t)count : 0),
         count ? (double)(usage_after.ru_minflt - usage_before.ru_minflt) / (double)count : 0.0);
  fflush(stdout);
  for (size_t i = 0; i < count; ++i) tavo_event_request_free(requests[i]);
  tavo_event_request_free(marker);
  free(requests);
  free(latencies);
  return 0;
}
