# Thin wrapper over CMake. `make test` and `make demo` install what is missing first.
BUILD ?= build
BUILD_TYPE ?= Release
JOBS ?= $(shell nproc 2>/dev/null || echo 2)
CMAKE_FLAGS ?=

.PHONY: all bootstrap configure build test demo asan bench cutoff fuzz clean

all: build

bootstrap:
	@scripts/bootstrap

configure: bootstrap
	cmake -S . -B $(BUILD) -DCMAKE_BUILD_TYPE=$(BUILD_TYPE) $(CMAKE_FLAGS)

build: configure
	cmake --build $(BUILD) -j $(JOBS)

test: build
	ctest --test-dir $(BUILD) --output-on-failure -j $(JOBS)

# The whole test suite built with AddressSanitizer and UndefinedBehaviorSanitizer.
asan:
	$(MAKE) test BUILD=$(BUILD)-asan BUILD_TYPE=RelWithDebInfo CMAKE_FLAGS="-DVANTOREL_SANITIZE=address,undefined $(CMAKE_FLAGS)"

# Finalizes a fresh copy of examples/ (a made-up repository and its wiki) in $(BUILD)/demo, then
# checks that a second run would change nothing: the demo fails if it would.
DEMO = $(BUILD)/demo
demo: build
	rm -rf $(DEMO)
	cp -R examples $(DEMO)
	$(BUILD)/tools/wiki-finalize $(DEMO)
	@echo "demo: the finished pages are in $(DEMO)/wiki/ (start with overview.md); the manifest is $(DEMO)/wiki/manifest.json"
	@echo "demo: a second run, with --check, must change nothing:"
	$(BUILD)/tools/wiki-finalize --check $(DEMO)

# Builds the benchmarks (Release, in their own folder, tests off) and runs them; each benchmark is
# repeated and the console table shows the aggregates, the median among them. Pass Google
# Benchmark flags through BENCH_ARGS, e.g. make bench BENCH_ARGS=--benchmark_filter=Text/
# Then times wiki-finalize with --jobs 1 and 2 on a generated wiki of CLI_PAGES pages, written on
# tmpfs (CLI_SCALING_WORK) so that the file system's cost of creating files is left out; set
# CLI_PAGES=0 to skip that.
BENCH_BUILD ?= build-bench
BENCH_REPETITIONS ?= 5
BENCH_ARGS ?=
CLI_PAGES ?= 10000
CLI_RUNS ?= 3
CLI_SCALING_WORK ?= /dev/shm/vantorel-cli-scaling
bench:
	@scripts/bootstrap bench
	cmake -S . -B $(BENCH_BUILD) -DCMAKE_BUILD_TYPE=Release -DVANTOREL_BUILD_BENCHMARKS=ON -DVANTOREL_BUILD_TESTS=OFF $(CMAKE_FLAGS)
	cmake --build $(BENCH_BUILD) -j $(JOBS) --target vantorel_bench vantorel_make_wiki wiki-finalize
	$(BENCH_BUILD)/bench/vantorel_bench --benchmark_repetitions=$(BENCH_REPETITIONS) \
	  --benchmark_report_aggregates_only=true $(BENCH_ARGS)
	if [ "$(CLI_PAGES)" != 0 ]; then CLI_SCALING_WORK=$(CLI_SCALING_WORK) bench/cli_scaling $(BENCH_BUILD) $(CLI_PAGES) $(CLI_RUNS); fi

# Real Markdown cut off at a random line: a wiki made of the Markdown documentation Debian packages
# installed under /usr, each page cut after a random line (CUTOFF_SEED), finalized twice; prints how
# many pages a second run changes and how many lose words of their author (see
# scripts/cutoff-experiment, which also compares another wiki-finalize with this one).
CUTOFF_WORK ?= $(BENCH_BUILD)/cutoff
CUTOFF_SEED ?= 20240611
cutoff:
	@scripts/bootstrap bench
	cmake -S . -B $(BENCH_BUILD) -DCMAKE_BUILD_TYPE=Release -DVANTOREL_BUILD_BENCHMARKS=ON -DVANTOREL_BUILD_TESTS=OFF $(CMAKE_FLAGS)
	cmake --build $(BENCH_BUILD) -j $(JOBS) --target vantorel_cutoff_check wiki-finalize
	scripts/cutoff-experiment make $(CUTOFF_WORK) --seed $(CUTOFF_SEED)
	scripts/cutoff-experiment run $(CUTOFF_WORK) current $(BENCH_BUILD)/tools/wiki-finalize $(BENCH_BUILD)/bench/vantorel_cutoff_check --repair

# Builds the fuzz targets with clang's libFuzzer, AddressSanitizer and UndefinedBehaviorSanitizer
# (in their own folder, tests off) and runs each for FUZZ_SECONDS, one after the other, from a
# scratch copy of its seed corpus in fuzz/corpus/; fails when any target finds an input that
# crashes or breaks an invariant, and prints that input (see fuzz/run).
FUZZ_BUILD ?= build-fuzz
FUZZ_SECONDS ?= 60
FUZZ_TARGETS ?= segments front_matter page_writer queries_autolink page_run
fuzz:
	@scripts/bootstrap fuzz
	CC=clang-14 CXX=clang++-14 cmake -S . -B $(FUZZ_BUILD) -DCMAKE_BUILD_TYPE=RelWithDebInfo -DVANTOREL_BUILD_FUZZERS=ON \
	  -DVANTOREL_BUILD_TESTS=OFF -DVANTOREL_SANITIZE=address,undefined $(CMAKE_FLAGS)
	cmake --build $(FUZZ_BUILD) -j $(JOBS) --target $(addsuffix _fuzzer,$(FUZZ_TARGETS))
	fuzz/run $(FUZZ_BUILD) $(FUZZ_SECONDS) $(FUZZ_TARGETS)

clean:
	rm -rf $(BUILD) $(BUILD)-asan $(FUZZ_BUILD)
