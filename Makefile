# The two commands of the README: `make run` builds and runs the main job, `make test` builds and passes the
# tests. Both install what is missing first (Debian packages, as root or through sudo).
.PHONY: all deps build run test asan test-asan tsan test-tsan clean

all: build

deps:
	@scripts/install-deps

build: deps
	@cmake --preset default >/dev/null
	@cmake --build --preset default

run: build
	@./build/default/tools/demo/tavo-demo

test: build
	@ctest --preset default

asan: deps
	@cmake --preset asan >/dev/null
	@cmake --build --preset asan

test-asan: asan
	@ctest --preset asan

tsan: deps
	@cmake --preset tsan >/dev/null
	@cmake --build --preset tsan

test-tsan: tsan
	@ctest --preset tsan

clean:
	@rm -rf build

# Every benchmark program of bench/ once, about a minute in all; docs/PERFORMANCE.md says what each measures.
.PHONY: bench
bench: build
	@test -x build/default/bench/tavo_bench_track_event || { echo "bench: Google Benchmark not found"; exit 1; }
	@for program in build/default/bench/tavo_bench_*; do \
	  [ -x "$$program" ] || continue; \
	  "$$program" --benchmark_min_time=0.5 || exit 1; \
	done
