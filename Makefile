# The two commands of the README: `make run` and `make test`. Both install what is missing,
# configure with Ninja and ccache, and build first.
BUILD_DIR ?= build
BUILD_TYPE ?= RelWithDebInfo
JOBS ?= $(shell nproc)
# `make fuzz`: its own build with clang and the sanitizers, and the time each harness runs.
FUZZ_BUILD_DIR ?= build-fuzz
FUZZ_SECONDS ?= 60
FUZZERS ?= server_message map_file device_info register_file enciphered_register_file number_entry \
           topology sim_request

.PHONY: all setup configure build run test bench fuzz check-layers format clean

all: build

setup:
	@scripts/setup-deps.sh

$(BUILD_DIR)/build.ninja:
	@$(MAKE) --no-print-directory setup
	cmake -S . -B $(BUILD_DIR) -G Ninja -DCMAKE_BUILD_TYPE=$(BUILD_TYPE) \
	    -DCMAKE_EXPORT_COMPILE_COMMANDS=ON

configure: $(BUILD_DIR)/build.ninja

build: setup configure
	cmake --build $(BUILD_DIR) -j $(JOBS)

run: build
	@scripts/run-demo.sh $(BUILD_DIR)

check-layers:
	@python3 scripts/check-layers.py

test: build check-layers
	cd $(BUILD_DIR) && QT_QPA_PLATFORM=offscreen dbus-run-session -- \
	    ctest --output-on-failure -j $(JOBS) --timeout 300

bench: build
	@for b in $(BUILD_DIR)/bench/nv-bench-*; do echo "== $$b"; $$b; done

fuzz:
	@scripts/setup-deps.sh --fuzz
	CC=clang CXX=clang++ cmake -S . -B $(FUZZ_BUILD_DIR) -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
	    -DNV_FUZZ=ON
	cmake --build $(FUZZ_BUILD_DIR) -j $(JOBS) --target nv_fuzzers
	@scripts/run-fuzzers.sh $(FUZZ_BUILD_DIR) $(FUZZ_SECONDS) $(FUZZERS)

format:
	@git ls-files '*.cpp' '*.h' | xargs clang-format -i

clean:
	rm -rf $(BUILD_DIR) $(FUZZ_BUILD_DIR)
