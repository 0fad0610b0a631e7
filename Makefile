# A thin wrapper over CMake. `make demo` and `make test` are all a newcomer needs.
JOBS ?= 2
BUILD ?= build
ASAN_BUILD ?= build-asan

.PHONY: all build test test-deep test-asan demo bench bench-epfl qor format clean

all: build

build:
	cmake -S . -B $(BUILD) -DCMAKE_BUILD_TYPE=Release
	cmake --build $(BUILD) -j $(JOBS)

test: build
	ctest --test-dir $(BUILD) --output-on-failure -j $(JOBS) -LE deep

# Designs of a million gates, loads and cells (tests/deep), a few minutes.
test-deep: build
	ctest --test-dir $(BUILD) --output-on-failure -j $(JOBS) -L deep

# The whole suite under AddressSanitizer and UndefinedBehaviorSanitizer.
test-asan:
	cmake -S . -B $(ASAN_BUILD) -DCMAKE_BUILD_TYPE=RelWithDebInfo -DVORP_SANITIZE=ON
	cmake --build $(ASAN_BUILD) -j $(JOBS)
	VORP_CROSS_CHECK_DESIGNS=20 ASAN_OPTIONS=detect_leaks=0 UBSAN_OPTIONS=print_stacktrace=1 ctest --test-dir $(ASAN_BUILD) --output-on-failure -j $(JOBS) -LE deep

demo: build
	rm -rf demo-out && mkdir demo-out
	./$(BUILD)/vorp $$(cat examples/args) -w demo-out
	@echo "--- written to demo-out:" && ls -l demo-out

# Generated designs and real circuits timed stage by stage (bench/README.md).
bench: build
	./bench/run.sh $(BUILD)

# Map, convert, reduce and prove the EPFL benchmark circuits (needs yosys).
bench-epfl: build
	./tools/bench-epfl $(BUILD) bench/circuits/epfl

# Inverters before and after vorp on the benchmark circuits mapped onto gates
# and onto tools/lib/vorp_cells.lib, every result proved (needs yosys); the
# table and chart go to qor-out/, the counts must match bench/qor/expected.txt.
qor: build
	./bench/qor/run.sh $(BUILD) qor-out

format:
	clang-format -i $$(git ls-files '*.cpp' '*.h')

clean:
	rm -rf $(BUILD) $(ASAN_BUILD) demo-out qor-out
