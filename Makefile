# Set-up in two commands: `make demo` renders the gallery into out/, `make test`
# builds everything and runs the suite in a normal and a sanitizer build.
BUILD      ?= build
ASAN_BUILD ?= build-asan
FUZZ_BUILD ?= build-fuzz
JOBS       ?= $(shell nproc)
GENERATOR  := $(shell command -v ninja >/dev/null 2>&1 && echo "-G Ninja")
CMAKE_FLAGS ?= -DSHADEPAINT_WERROR=ON
FUZZ_SECONDS ?= 30

DEB_PACKAGES := cmake ninja-build g++ clang libclang-rt-14-dev libgtest-dev googletest \
                libbenchmark-dev zlib1g-dev libpng-dev

.PHONY: all deps build test test-normal test-asan demo bench fuzz clean

all: build

# Installs what is missing when run as root; otherwise only reports.
deps:
	@missing=""; for p in $(DEB_PACKAGES); do \
	  dpkg -s $$p >/dev/null 2>&1 || missing="$$missing $$p"; done; \
	if [ -n "$$missing" ]; then \
	  if [ "$$(id -u)" = 0 ]; then \
	    echo "installing:$$missing"; \
	    apt-get update && DEBIAN_FRONTEND=noninteractive apt-get install -y --no-install-recommends $$missing; \
	  else echo "missing Debian packages:$$missing (run as root to install)"; exit 1; fi; \
	fi

$(BUILD)/CMakeCache.txt: | deps
	cmake -S . -B $(BUILD) $(GENERATOR) $(CMAKE_FLAGS)

build: deps $(BUILD)/CMakeCache.txt
	cmake --build $(BUILD) -j $(JOBS)

test-normal: build
	cd $(BUILD) && ctest --output-on-failure -j $(JOBS)

test-asan: deps
	cmake -S . -B $(ASAN_BUILD) $(GENERATOR) $(CMAKE_FLAGS) -DCMAKE_BUILD_TYPE=Debug \
	  -DSHADEPAINT_SANITIZE=address,undefined -DSHADEPAINT_BUILD_BENCH=OFF
	cmake --build $(ASAN_BUILD) -j $(JOBS)
	cd $(ASAN_BUILD) && ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 \
	  UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 ctest --output-on-failure -j $(JOBS)

test: test-normal test-asan

demo: build
	$(BUILD)/tools/shadepaint demo out
	@echo "gallery written to out/index.html"

bench: build
	@for b in $(BUILD)/bench/bench_*; do [ -x "$$b" ] && $$b; done

# Short libFuzzer runs of every target from its seed corpus (clang).
fuzz: deps
	CXX=clang++ cmake -S . -B $(FUZZ_BUILD) $(GENERATOR) $(CMAKE_FLAGS) -DSHADEPAINT_BUILD_FUZZ=ON \
	  -DSHADEPAINT_SANITIZE=address,undefined -DSHADEPAINT_BUILD_TESTS=OFF \
	  -DSHADEPAINT_BUILD_BENCH=OFF -DSHADEPAINT_BUILD_TOOLS=OFF
	cmake --build $(FUZZ_BUILD) -j $(JOBS)
	@for f in $(FUZZ_BUILD)/fuzz/fuzz_*; do \
	  [ -x "$$f" ] || continue; \
	  corpus=fuzz/corpus/$$(basename $$f | sed 's/^fuzz_//'); work=$$(mktemp -d); \
	  echo "== $$(basename $$f) for $(FUZZ_SECONDS)s"; \
	  if ! $$f -max_total_time=$(FUZZ_SECONDS) -max_len=4096 -timeout=10 -rss_limit_mb=2048 \
	      $$work $$corpus > $$work.log 2>&1; then \
	    tail -n 60 $$work.log; rm -rf $$work $$work.log; exit 1; fi; \
	  tail -n 1 $$work.log; rm -rf $$work $$work.log; done

clean:
	rm -rf $(BUILD) $(ASAN_BUILD) $(FUZZ_BUILD) out
