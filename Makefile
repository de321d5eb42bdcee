# Set-up and everyday commands. Each target installs what is missing first, so a fresh
# Debian 12 machine needs nothing done by hand.
BUILD ?= build
SAN_BUILD ?= build-asan
JOBS ?= $(shell nproc)

.PHONY: setup configure build test test-sanitize fuzz memcheck demo bench bench-profile install clean

setup:
	./scripts/setup.sh

configure: setup
	cmake -S . -B $(BUILD) -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo

build: configure
	cmake --build $(BUILD) -j $(JOBS)

demo: build
	./$(BUILD)/tools/cfmeta profile testdata/customers.csv --summaries \
	  --currency income,monthly_spend -o $(BUILD)/customers.xml
	./$(BUILD)/tools/cfmeta show $(BUILD)/customers.xml

test: build
	cd $(BUILD) && ctest --output-on-failure --no-tests=error -j $(JOBS)

test-sanitize: setup
	cmake -S . -B $(SAN_BUILD) -G Ninja -DCMAKE_BUILD_TYPE=Debug \
	  -DCFMETA_SANITIZE=address,undefined -DCFMETA_BUILD_TOOLS=ON
	cmake --build $(SAN_BUILD) -j $(JOBS)
	cd $(SAN_BUILD) && ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1 \
	  ctest --output-on-failure --no-tests=error -j $(JOBS)

# Each fuzz target for FUZZ_SECONDS over its corpus; see fuzz/run.sh.
FUZZ_SECONDS ?= 60
fuzz:
	fuzz/run.sh all $(FUZZ_SECONDS)

# The whole test suite once under valgrind memcheck: any error, or anything definitely or
# indirectly lost, fails. Two tests are left out: valgrind computes long double at double
# precision, so their own long double references lose the precision they check for.
MEMCHECK = valgrind --tool=memcheck --error-exitcode=1 --leak-check=full \
  --show-leak-kinds=definite,indirect --errors-for-leak-kinds=definite,indirect --num-callers=30

memcheck: build
	CFMETA_WITH_VALGRIND=1 ./scripts/setup.sh
	cd $(BUILD) && $(MEMCHECK) ./cfmeta_tests \
	  --gtest_filter=-CFContStatsTest.LargeOffsetsKeepTheirPrecision:CFMomentsTest.OnePassAndMergedPartsMatchTwoPass
	cd $(BUILD) && $(MEMCHECK) ./tools/cfmeta_tool_tests

bench: setup
	cmake -S . -B build-bench -G Ninja -DCMAKE_BUILD_TYPE=Release -DCFMETA_BUILD_BENCH=ON \
	  -DCFMETA_BUILD_TESTS=OFF
	cmake --build build-bench -j $(JOBS)

bench-profile:
	./bench/profile_bench.sh

clean:
	rm -rf $(BUILD) $(SAN_BUILD) build-bench build-fuzz
