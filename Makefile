# The two commands of the README: `make run` and `make test`. Both install what is missing,
# configure with Ninja and ccache, and build first.
BUILD_DIR ?= build
BUILD_TYPE ?= RelWithDebInfo
JOBS ?= $(shell nproc)

.PHONY: all setup configure build run test bench check-layers format clean

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

format:
	@git ls-files '*.cpp' '*.h' | xargs clang-format -i

clean:
	rm -rf $(BUILD_DIR)
