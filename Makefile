# Set-up and everyday commands. Each target installs what is missing first, so a fresh
# Debian 12 machine needs nothing done by hand.
BUILD ?= build
SAN_BUILD ?= build-asan
JOBS ?= $(shell nproc)

.PHONY: setup configure build test test-sanitize demo bench bench-profile install clean

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

bench: setup
	cmake -S . -B build-bench -G Ninja -DCMAKE_BUILD_TYPE=Release -DCFMETA_BUILD_BENCH=ON \
	  -DCFMETA_BUILD_TESTS=OFF
	cmake --build build-bench -j $(JOBS)

bench-profile:
	./bench/profile_bench.sh

clean:
	rm -rf $(BUILD) $(SAN_BUILD) build-bench
