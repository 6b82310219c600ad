# The two commands of the README (through ./make.sh, which first installs make itself where it is missing):
# `make run` builds the main job alone and runs it, `make test` builds everything and passes the tests. Both
# install the Debian packages they need first (as root or through sudo). One line per step.
.PHONY: all deps deps-run configure build run test asan test-asan tsan test-tsan clean

all: build

deps:
	@scripts/install-deps all

deps-run:
	@scripts/install-deps run

configure:
	@echo "configure: build/default"
	@cmake --preset default >/dev/null

build: deps configure
	@echo "build: everything (libtavo, tools, tests, benchmarks)"
	@cmake --build --preset default -- --quiet

# The demo and what it links, nothing else: the tests and benchmarks wait for `make test`.
run: deps-run configure
	@echo "build: tavo-demo"
	@cmake --build --preset default --target tavo-demo -- --quiet
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
