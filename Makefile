# Front door: `make run` serves the demo deployment, `make test` runs every test.
BUILD ?= build
JOBS ?= $(shell nproc)
CMAKE_FLAGS ?=
# The packaging test builds its own Release tree; the sanitizer runs skip it.
PACKAGE_TEST ?= 1

.PHONY: all deps build test asan tsan fuzz run bench clean format deb package-test abi-check abi-update

all: build

deps:
	@bash scripts/install-deps.sh

$(BUILD)/CMakeCache.txt:
	cmake -S . -B $(BUILD) -DCMAKE_BUILD_TYPE=RelWithDebInfo -DRS_WERROR=ON $(CMAKE_FLAGS)

build: deps $(BUILD)/CMakeCache.txt
	cmake --build $(BUILD) -j$(JOBS)

test: build
	cd $(BUILD) && ctest --output-on-failure -j2
	@bash scripts/check-layers.sh
	@if [ "$(PACKAGE_TEST)" = 1 ]; then bash tests/packaging/package_test.sh; fi

# Debian packages (runtime, development files, host with its unit) in build-deb/.
deb: deps
	@bash scripts/make-deb.sh build-deb

# The packages installed into a scratch root, used as a service team and an operator would.
package-test: deps
	@bash tests/packaging/package_test.sh

# The libraries' ABI against the baseline in abi/ (abidiff); abi-update records a deliberate change.
abi-check: build
	@bash scripts/abi.sh check $(BUILD)

abi-update: build
	@bash scripts/abi.sh update $(BUILD)

asan:
	$(MAKE) test BUILD=build-asan PACKAGE_TEST=0 CMAKE_FLAGS="-DRS_SANITIZE=address,undefined -DRS_BENCH=OFF"

tsan:
	$(MAKE) test BUILD=build-tsan PACKAGE_TEST=0 CMAKE_FLAGS="-DRS_SANITIZE=thread -DRS_BENCH=OFF"

# Every fuzz target for SECS seconds (default 60), under the sanitizers.
fuzz:
	@bash scripts/run-fuzz.sh

run:
	@if [ -x scripts/run-demo.sh ]; then bash scripts/run-demo.sh; \
	else echo "make run: the host program and the demo deployment are not in this tree yet"; exit 1; fi

bench:
	@if [ -x bench/run.sh ]; then bash bench/run.sh; \
	else echo "make bench: no benchmarks in this tree yet"; exit 1; fi

format:
	git ls-files '*.c' '*.cpp' '*.h' | xargs clang-format -i

clean:
	rm -rf build build-asan build-tsan build-release build-fuzz build-deb
