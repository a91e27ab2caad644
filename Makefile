# Thin wrapper over CMake. `make test` and `make demo` install what is missing first.
BUILD ?= build
BUILD_TYPE ?= Release
JOBS ?= $(shell nproc 2>/dev/null || echo 2)
CMAKE_FLAGS ?=

.PHONY: all bootstrap configure build test demo asan clean

all: build

bootstrap:
	@scripts/bootstrap

configure: bootstrap
	cmake -S . -B $(BUILD) -DCMAKE_BUILD_TYPE=$(BUILD_TYPE) $(CMAKE_FLAGS)

build: configure
	cmake --build $(BUILD) -j $(JOBS)

test: build
	ctest --test-dir $(BUILD) --output-on-failure -j $(JOBS)

# The whole test suite built with AddressSanitizer and UndefinedBehaviorSanitizer.
asan:
	$(MAKE) test BUILD=$(BUILD)-asan BUILD_TYPE=RelWithDebInfo CMAKE_FLAGS="-DVANTOREL_SANITIZE=address,undefined $(CMAKE_FLAGS)"

demo: build
	@echo "demo: the command-line program and its example wiki arrive in a later change; the library and its tests are built."

clean:
	rm -rf $(BUILD) $(BUILD)-asan
