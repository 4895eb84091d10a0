# The two commands of the README: `make demo` and `make test`.
# Long accuracy sweeps and benchmarks are separate: `make accuracy`, `make bench`.
BUILD    ?= build
ASAN_DIR ?= build-asan
TSAN_DIR ?= build-tsan
JOBS     ?= $(shell nproc)
CMAKE_ARGS ?= -G Ninja -DCMAKE_BUILD_TYPE=Release

.PHONY: deps configure build demo test accuracy bench docs asan tsan coverage install clean

deps:
	@./tools/install-deps.sh

configure: deps
	@cmake -S . -B $(BUILD) $(CMAKE_ARGS) >/dev/null

build: configure
	@cmake --build $(BUILD) -j $(JOBS)

demo: build
	./$(BUILD)/examples/tour

test: build
	cd $(BUILD) && ctest --output-on-failure -j $(JOBS)

# accuracy and bench keep their output in $(BUILD)/reports for `make docs`.
accuracy: build
	@mkdir -p $(BUILD)/reports
	./$(BUILD)/tests/vector/qor_accuracy --long | tee $(BUILD)/reports/accuracy.txt
	./$(BUILD)/tests/vector_arith/qor_arith_exhaustive
	./$(BUILD)/tests/safety/qor_safety --full

bench: build
	@mkdir -p $(BUILD)/reports
	@{ for b in $(BUILD)/bench/bench_*; do [ -x "$$b" ] && { echo "== $$b"; $$b; }; done; for p in bench/*.py; do [ -f "$$p" ] && { echo "== $$p"; /usr/bin/python3 $$p $(BUILD); }; done; true; } | tee $(BUILD)/reports/bench.txt

# The reference pages and plots in docs/, from the sources and the latest
# reports of `make accuracy` and `make bench` (kept in docs/data).
docs: build
	/usr/bin/python3 tools/gen_docs.py --build $(BUILD) --plots

# The libraries, headers, pkg-config file and CMake package under PREFIX.
PREFIX ?= /usr/local
install: build
	cmake --install $(BUILD) --prefix $(PREFIX)

coverage: build
	@python3 tools/coverage.py $(BUILD)

asan: deps
	cmake -S . -B $(ASAN_DIR) -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DQOR_SANITIZE=ON >/dev/null
	cmake --build $(ASAN_DIR) -j $(JOBS)
	cd $(ASAN_DIR) && UBSAN_OPTIONS=halt_on_error=1:print_stacktrace=1 ctest --output-on-failure -j $(JOBS)
	cd $(ASAN_DIR) && UBSAN_OPTIONS=halt_on_error=1:print_stacktrace=1 ./tests/safety/qor_safety --full

# The threaded tests (CTest label `tsan`: the stress test of tests/threads and
# the suite's tests that run over threads) under ThreadSanitizer; any report
# fails the run. TSan's runtime needs a fixed memory layout, which kernels with
# wide mmap randomisation break ("unexpected memory mapping"), so build (test
# discovery runs the binaries) and run go without address randomisation when
# setarch allows it. OpenBLAS is not instrumented: keep it on the caller's thread.
NO_ASLR := $(shell setarch $$(uname -m) -R true >/dev/null 2>&1 && echo setarch $$(uname -m) -R)
TSAN_TARGETS := qor_threads_test vector_api_test qor_random_tests qor_stats_tests qor_stats_order_tests qor_fitting_tests \
                unload_test
TSAN_RUN_OPTIONS := halt_on_error=1 exitcode=66 second_deadlock_stack=1

tsan: deps
	cmake -S . -B $(TSAN_DIR) -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DQOR_TSAN=ON >/dev/null
	$(NO_ASLR) cmake --build $(TSAN_DIR) -j $(JOBS) --target $(TSAN_TARGETS)
	cd $(TSAN_DIR) && OPENBLAS_NUM_THREADS=1 TSAN_OPTIONS="$(TSAN_RUN_OPTIONS)" $(NO_ASLR) ctest -L tsan --output-on-failure -j $(JOBS)

clean:
	rm -rf $(BUILD) $(ASAN_DIR) $(TSAN_DIR)
