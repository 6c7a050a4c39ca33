# The everyday commands. Each installs what is missing first and says so.
PREFIX ?= /usr/local
.PHONY: all build demo test bench fuzz install format tidy clean setup

all: build

setup:
	@scripts/setup.sh

build: setup
	cmake --preset release
	cmake --build build/release

# Measures a capture of an 8 Gb/s signal that it makes itself.
demo: build
	scripts/demo.sh build/release/app/vomo build/demo

# The tests as released (g++) and under the sanitizers (clang++), and the format check.
test: build
	scripts/format.sh --check
	ctest --test-dir build/release --output-on-failure
	cmake --preset asan
	cmake --build build/asan
	ctest --test-dir build/asan --output-on-failure

bench: build
	scripts/bench.sh build/release/bench

# FUZZ_SECONDS: how long each reader is fuzzed.
FUZZ_SECONDS ?= 60
fuzz: setup
	cmake --preset fuzz
	cmake --build build/fuzz
	scripts/fuzz.sh build/fuzz/fuzz $(FUZZ_SECONDS)

install: build
	cmake --install build/release --prefix $(PREFIX)

format: setup
	scripts/format.sh

tidy: build
	git ls-files -z -- 'src/*.cpp' 'app/*.cpp' | xargs -0 clang-tidy -p build/release --quiet

clean:
	rm -rf build
