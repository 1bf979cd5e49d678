# The two set-up commands: `make demo` and `make test`. Both install what is
# missing (Debian packages), then configure, build and run through the CMake
# presets (CMakePresets.json): every setting of a tree is there, none here.

JOBS ?= 2
# Debian packages the build, the tests and the benchmarks need (dpkg-dev,
# file and lintian: the Debian packages and their check; man-db and
# groff-base: the manual page's check; clang-format: the source format check;
# libpng: grab's PNG files; cpp-httplib and nlohmann-json: the live view's
# server; chromium, its driver and python3-selenium: the live view's browser
# test).
PACKAGES := cmake make g++ g++-multilib googletest libbenchmark-dev libboost-dev \
            libxml2-utils libpng-dev aravis-tools libaravis-dev libusb-1.0-0-dev pkg-config valgrind \
            dpkg-dev file lintian man-db groff-base clang-format \
            libcpp-httplib-dev nlohmann-json3-dev chromium chromium-driver python3-selenium
# Parallel build and test jobs, read by cmake --build and ctest.
export CMAKE_BUILD_PARALLEL_LEVEL ?= $(JOBS)
export CTEST_PARALLEL_LEVEL ?= $(JOBS)

.PHONY: all help deps deps-x86 deps-fuzz build demo test bench build-fuzz fuzz build-fuzz-coverage fuzz-coverage clean

all: build

help:
	@echo "make demo    install what is missing, build, run appletctl on the simulated board"
	@echo "make test    install what is missing, build and test x86-64 (plain and ASan+UBSan), 32-bit x86 and the concurrency test under TSan"
	@echo "make bench   build and run the benchmarks (x86-64), print the table of medians and ratios"
	@echo "make fuzz    build the libFuzzer targets with clang and run each for FUZZ_SECONDS (default 60)"
	@echo "             (FUZZ_MERGE=1: minimise the corpus grown into fuzz/corpus/)"
	@echo "make fuzz-coverage  line coverage of each fuzz target's code from its committed corpus"
	@echo "make clean   remove the build trees"
	@echo "Any tree by hand: cmake --workflow --preset NAME (cmake --list-presets=all)"

define install_missing
	@missing=""; for p in $(1); do dpkg -s $$p >/dev/null 2>&1 || missing="$$missing $$p"; done; \
	if [ -n "$$missing" ]; then \
	  echo "installing:$$missing"; \
	  if [ "$$(id -u)" -ne 0 ]; then echo "error: packages missing and not root:$$missing" >&2; exit 1; fi; \
	  apt-get update && DEBIAN_FRONTEND=noninteractive apt-get install -y --no-install-recommends $$missing; \
	fi
endef

deps:
	$(call install_missing,$(PACKAGES))

# The 32-bit tree's programs must run: natively, or where the kernel has no
# 32-bit mode, through qemu-user-static registered with binfmt_misc.
deps-x86: deps
	scripts/enable-i386-exec.sh

build: deps
	cmake --preset x64
	cmake --build --preset x64

demo: deps
	cmake --preset x64
	cmake --build --preset demo
	tools/demo.sh build/x64

test: deps deps-x86
	cmake --workflow --preset x64
	cmake --workflow --preset asan
	cmake --workflow --preset x86
	cmake --workflow --preset tsan
	@echo "all test suites passed (x86-64, x86-64 ASan+UBSan, 32-bit x86, concurrency, acquisition and live-view server under TSan)"

# Every benchmark in interleaved repetitions, then the table of medians and
# ratios (BENCH_ARGS adds Google Benchmark flags, e.g. a --benchmark_filter).
bench: deps
	cmake --workflow --preset bench
	build/bench/bench/orvindel_bench $(BENCH_ARGS)
	build/bench/bench/serve_bench

# libFuzzer targets (fuzz/) with Debian's clang; each runs FUZZ_SECONDS from
# its seed corpus with its dictionary, fuzz/run.sh reports and fails on a
# finding. FUZZ_MERGE=1 minimises the corpus grown into fuzz/corpus/.
FUZZ_SECONDS ?= 60
FUZZ_MERGE ?=
FUZZ_PACKAGES := clang libclang-rt-14-dev llvm

deps-fuzz: deps
	$(call install_missing,$(FUZZ_PACKAGES))

build-fuzz: deps-fuzz
	cmake --workflow --preset fuzz

fuzz: build-fuzz
	fuzz/run.sh $(if $(FUZZ_MERGE),--merge) build/fuzz $(FUZZ_SECONDS)

# Line coverage of the fuzz targets (clang source-based coverage; llvm-profdata
# and llvm-cov from Debian's llvm): each target replays its committed corpus.
build-fuzz-coverage: deps-fuzz
	cmake --workflow --preset fuzz-coverage

fuzz-coverage: build-fuzz-coverage
	fuzz/run.sh --coverage build/fuzz-coverage

clean:
	rm -rf build
