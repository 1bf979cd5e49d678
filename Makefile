# The two set-up commands: `make demo` and `make test`. Both install what is
# missing (Debian packages), configure, build and run.

JOBS ?= 2
BUILD ?= build
# Debian packages the build, the tests and the benchmarks need.
PACKAGES := cmake make g++ g++-multilib googletest libbenchmark-dev libboost-dev \
            libxml2-utils aravis-tools libaravis-dev libusb-1.0-0-dev pkg-config valgrind

CMAKE_COMMON := -DCMAKE_BUILD_TYPE=RelWithDebInfo

.PHONY: all deps build build-x64 build-asan build-x86 test test-x64 test-asan test-x86 demo bench clean help
.PHONY: build-tsan test-tsan deps-fuzz build-fuzz fuzz build-fuzz-coverage fuzz-coverage

all: build

help:
	@echo "make demo    install what is missing, build, run appletctl on the simulated board"
	@echo "make test    install what is missing, build x86-64 (plain and ASan+UBSan) and 32-bit x86, run every test"
	@echo "make bench   build and run the benchmarks (x86-64), print the table of medians and ratios"
	@echo "make fuzz    build the libFuzzer targets with clang and run each for FUZZ_SECONDS (default 60)"
	@echo "             (FUZZ_MERGE=1: minimise the corpus grown into fuzz/corpus/)"
	@echo "make fuzz-coverage  line coverage of each fuzz target's code from its committed corpus"
	@echo "make clean   remove the build trees"

deps:
	@missing=""; for p in $(PACKAGES); do dpkg -s $$p >/dev/null 2>&1 || missing="$$missing $$p"; done; \
	if [ -n "$$missing" ]; then \
	  echo "installing:$$missing"; \
	  if [ "$$(id -u)" -ne 0 ]; then echo "error: packages missing and not root:$$missing" >&2; exit 1; fi; \
	  apt-get update && DEBIAN_FRONTEND=noninteractive apt-get install -y --no-install-recommends $$missing; \
	fi

build: build-x64

build-x64: deps
	cmake -S . -B $(BUILD)/x64 $(CMAKE_COMMON) -DORV_BENCH=ON
	cmake --build $(BUILD)/x64 -j$(JOBS)

build-asan: deps
	cmake -S . -B $(BUILD)/asan $(CMAKE_COMMON) -DORV_SANITIZE=ON
	cmake --build $(BUILD)/asan -j$(JOBS)

build-x86: deps
	cmake -S . -B $(BUILD)/x86 $(CMAKE_COMMON) -DORV_M32=ON
	cmake --build $(BUILD)/x86 -j$(JOBS)

test-x64: build-x64
	cd $(BUILD)/x64 && ctest --output-on-failure -j$(JOBS)

test-asan: build-asan
	cd $(BUILD)/asan && ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1 ctest --output-on-failure -j$(JOBS)

test-x86: build-x86
	cd $(BUILD)/x86 && ctest --output-on-failure -j$(JOBS)

# ThreadSanitizer: only what the concurrency test needs.
build-tsan: deps
	cmake -S . -B $(BUILD)/tsan $(CMAKE_COMMON) -DORV_TSAN=ON
	cmake --build $(BUILD)/tsan -j$(JOBS) --target test_concurrency Orvindel talrun5

test-tsan: build-tsan
	cd $(BUILD)/tsan && TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1 ctest -R '^test_concurrency$$' --output-on-failure

test: test-x64 test-asan test-x86 test-tsan
	@echo "all test suites passed (x86-64, x86-64 ASan+UBSan, 32-bit x86, concurrency under TSan)"

demo: build-x64
	tools/demo.sh $(BUILD)/x64

# libFuzzer targets (fuzz/): clang from Debian, every object instrumented
# with -fsanitize=fuzzer-no-link,address,undefined and the shared sanitizer
# runtime (the applet and the platform are shared libraries); each target runs
# FUZZ_SECONDS from its seed corpus (fuzz/corpus/) with its dictionary, if it
# has one; fuzz/run.sh prints the executions and findings per target and fails
# on a finding. FUZZ_MERGE=1 minimises the corpus grown into fuzz/corpus/.
FUZZ_SECONDS ?= 60
FUZZ_MERGE ?=
FUZZ_PACKAGES := clang libclang-rt-14-dev llvm
FUZZ_SANITIZE := -fsanitize=fuzzer-no-link,address,undefined -fno-sanitize-recover=undefined \
                 -fno-omit-frame-pointer -shared-libasan

deps-fuzz: deps
	@missing=""; for p in $(FUZZ_PACKAGES); do dpkg -s $$p >/dev/null 2>&1 || missing="$$missing $$p"; done; \
	if [ -n "$$missing" ]; then \
	  echo "installing:$$missing"; \
	  if [ "$$(id -u)" -ne 0 ]; then echo "error: packages missing and not root:$$missing" >&2; exit 1; fi; \
	  apt-get update && DEBIAN_FRONTEND=noninteractive apt-get install -y --no-install-recommends $$missing; \
	fi

build-fuzz: deps-fuzz
	asan_dir=$$(dirname "$$(clang++ -print-file-name=libclang_rt.asan-x86_64.so)"); \
	link="-fsanitize=address,undefined -shared-libasan -Wl,-rpath,$$asan_dir"; \
	cmake -S . -B $(BUILD)/fuzz $(CMAKE_COMMON) -DORV_FUZZ=ON \
	  -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ \
	  -DCMAKE_C_FLAGS="$(FUZZ_SANITIZE)" -DCMAKE_CXX_FLAGS="$(FUZZ_SANITIZE)" \
	  -DCMAKE_EXE_LINKER_FLAGS="$$link" -DCMAKE_SHARED_LINKER_FLAGS="$$link"
	ASAN_OPTIONS=detect_leaks=0 cmake --build $(BUILD)/fuzz -j$(JOBS) --target fuzz_targets

fuzz: build-fuzz
	fuzz/run.sh $(if $(FUZZ_MERGE),--merge) $(BUILD)/fuzz $(FUZZ_SECONDS)

# Line coverage of the fuzz targets (clang source-based coverage, llvm-profdata
# and llvm-cov from Debian's llvm): a tree of its own without sanitizers, each
# target replays its committed corpus, the report covers the code the target
# exists for.
FUZZ_COVERAGE := -fprofile-instr-generate -fcoverage-mapping

build-fuzz-coverage: deps-fuzz
	cmake -S . -B $(BUILD)/fuzz-coverage $(CMAKE_COMMON) -DORV_FUZZ=ON \
	  -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ \
	  -DCMAKE_C_FLAGS="$(FUZZ_COVERAGE)" -DCMAKE_CXX_FLAGS="$(FUZZ_COVERAGE)" \
	  -DCMAKE_EXE_LINKER_FLAGS="$(FUZZ_COVERAGE)" -DCMAKE_SHARED_LINKER_FLAGS="$(FUZZ_COVERAGE)"
	cmake --build $(BUILD)/fuzz-coverage -j$(JOBS) --target fuzz_targets

fuzz-coverage: build-fuzz-coverage
	fuzz/run.sh --coverage $(BUILD)/fuzz-coverage

# Every benchmark in interleaved repetitions, then the table of medians and
# ratios (BENCH_ARGS adds Google Benchmark flags, e.g. a --benchmark_filter).
bench: build-x64
	$(BUILD)/x64/bench/orvindel_bench $(BENCH_ARGS)

clean:
	rm -rf $(BUILD)
