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

# TSAN_TESTS: a ctest name pattern to run only some tests while iterating; empty (as in CI) runs all.
TSAN_TESTS ?=
test-tsan: tsan
	@ctest --preset tsan $(if $(TSAN_TESTS),-R '$(TSAN_TESTS)')

clean:
	@rm -rf build

# Every benchmark program of bench/ once, about a minute in all; docs/PERFORMANCE.md says what each measures.
.PHONY: bench
bench: build
	@bench/run build/default

# Every libFuzzer target of fuzz/ for FUZZ_SECONDS each (or only FUZZ_TARGETS), on a copy of its seed corpus
# under build/fuzz; prints executions and findings. fuzz/README.md says what each target feeds.
FUZZ_SECONDS ?= 60
FUZZ_TARGETS ?=
.PHONY: fuzz
fuzz: deps
	@cmake --preset fuzz >/dev/null
	@cmake --build --preset fuzz
	@scripts/run-fuzzers build/fuzz $(FUZZ_SECONDS) $(FUZZ_TARGETS)
