# The two entry points: `make demo` runs the main job, `make test` builds and
# runs every test. Both install missing packages first.
BUILD ?= build
BUILD_TYPE ?= RelWithDebInfo
JOBS ?= $(shell nproc)
FUZZ_BUILD ?= build-fuzz
FUZZ_SECONDS ?= 30

.PHONY: all setup configure build demo library-demo test sanitize fuzz bench reliability clean

all: build

setup:
	@bash scripts/setup.sh

configure: setup
	@cmake -S . -B $(BUILD) -G Ninja -DCMAKE_BUILD_TYPE=$(BUILD_TYPE) >/dev/null

build: configure
	@cmake --build $(BUILD) -j $(JOBS)

# The tour of bsetctl: catalogd, commits of several kinds, a staged set,
# listing, browsing and the restore pool (tools/tour.sh).
demo: configure
	@cmake --build $(BUILD) -j $(JOBS) --target bsetctl
	@bash tools/tour.sh $(BUILD)/tools/bsetctl

# The library used from C++ alone: records, documents, operators and the
# restore plan, with catalogd in-process (tools/bset_demo.cpp).
library-demo: configure
	@cmake --build $(BUILD) -j $(JOBS) --target bset_demo
	@$(BUILD)/tools/bset_demo

test: build
	@ctest --test-dir $(BUILD) --output-on-failure -j $(JOBS)
	@BUILD=$(BUILD) bash scripts/consumer.sh
	@FUZZ_BUILD=$(FUZZ_BUILD) JOBS=$(JOBS) bash scripts/sanitize.sh
	@FUZZ_BUILD=$(FUZZ_BUILD) JOBS=$(JOBS) bash scripts/fuzz.sh $(FUZZ_SECONDS)

# The whole suite again, built with ASan and UBSan in the clang tree.
sanitize: setup
	@FUZZ_BUILD=$(FUZZ_BUILD) JOBS=$(JOBS) bash scripts/sanitize.sh

# The installed package: examples/consumer built against `cmake --install`'s
# tree with find_package and with pkg-config, each run against catalogd.
.PHONY: consumer
consumer: build
	@BUILD=$(BUILD) bash scripts/consumer.sh

# The fuzz targets alone, in their own clang tree: FUZZ_SECONDS per target.
fuzz: setup
	@FUZZ_BUILD=$(FUZZ_BUILD) JOBS=$(JOBS) bash scripts/fuzz.sh $(FUZZ_SECONDS)

bench: configure
	@cmake --build $(BUILD) -j $(JOBS) --target benchmarks
	@for b in $(BUILD)/bench/bench_*; do echo "== $$b"; $$b; done

# Load, shutdown, scale-out, crash and fault checks at full length (about 15
# minutes on two cores); docs/reliability.md keeps their figures.
reliability: configure
	@BUILD=$(BUILD) JOBS=$(JOBS) bash bench/reliability.sh

clean:
	@rm -rf $(BUILD) $(FUZZ_BUILD)
