# The two set-up commands: `make demo` and `make test`. Both install what is
# missing (Debian packages), configure, build and run.

JOBS ?= 2
BUILD ?= build
# Debian packages the build, the tests and the benchmarks need.
PACKAGES := cmake make g++ g++-multilib googletest libbenchmark-dev libboost-dev \
            libxml2-utils aravis-tools libaravis-dev libusb-1.0-0-dev pkg-config valgrind

CMAKE_COMMON := -DCMAKE_BUILD_TYPE=RelWithDebInfo

.PHONY: all deps build build-x64 build-asan build-x86 test test-x64 test-asan test-x86 demo bench clean help

all: build

help:
	@echo "make demo    install what is missing, build, run appletctl on the simulated board"
	@echo "make test    install what is missing, build x86-64 (plain and ASan+UBSan) and 32-bit x86, run every test"
	@echo "make bench   build and run the benchmarks (x86-64)"
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

test: test-x64 test-asan test-x86
	@echo "all test suites passed (x86-64, x86-64 ASan+UBSan, 32-bit x86)"

demo: build-x64
	tools/demo.sh $(BUILD)/x64

bench: build-x64
	$(BUILD)/x64/bench/orvindel_bench --benchmark_repetitions=5 --benchmark_report_aggregates_only=true

clean:
	rm -rf $(BUILD)
