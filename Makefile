# The two commands of the README: `make demo` and `make test`.
# Long accuracy sweeps and benchmarks are separate: `make accuracy`, `make bench`.
BUILD    ?= build
ASAN_DIR ?= build-asan
JOBS     ?= $(shell nproc)
CMAKE_ARGS ?= -G Ninja -DCMAKE_BUILD_TYPE=Release

.PHONY: deps configure build demo test accuracy bench asan coverage clean

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

accuracy: build
	./$(BUILD)/tests/vector/qor_accuracy --long
	./$(BUILD)/tests/vector_arith/qor_arith_exhaustive

bench: build
	@for b in $(BUILD)/bench/bench_*; do [ -x "$$b" ] && { echo "== $$b"; $$b; }; done; for p in bench/*.py; do [ -f "$$p" ] && { echo "== $$p"; /usr/bin/python3 $$p $(BUILD); }; done; true

coverage: build
	@python3 tools/coverage.py $(BUILD)

asan: deps
	cmake -S . -B $(ASAN_DIR) -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DQOR_SANITIZE=ON >/dev/null
	cmake --build $(ASAN_DIR) -j $(JOBS)
	cd $(ASAN_DIR) && UBSAN_OPTIONS=halt_on_error=1:print_stacktrace=1 ctest --output-on-failure -j $(JOBS)

clean:
	rm -rf $(BUILD) $(ASAN_DIR)
