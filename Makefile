# The project's commands. `make demo` and `make test` are all a new user needs.
BUILD      ?= build
ASAN_BUILD ?= build-asan
BENCH_BUILD?= build-bench
JOBS       ?= $(shell nproc)
CMAKE      ?= cmake

.PHONY: all deps build test test-asan bench demo clean fuzz

all: build

deps:
	@sh scripts/deps.sh

build:
	$(CMAKE) -S . -B $(BUILD) -DCMAKE_BUILD_TYPE=RelWithDebInfo
	$(CMAKE) --build $(BUILD) -j $(JOBS)

test: deps build
	cd $(BUILD) && QT_QPA_PLATFORM=offscreen ctest --output-on-failure -j $(JOBS)

test-asan: deps
	$(CMAKE) -S . -B $(ASAN_BUILD) -DCMAKE_BUILD_TYPE=Debug -DIDE_SANITIZE=ON -DIDE_BUILD_DEMO=OFF
	$(CMAKE) --build $(ASAN_BUILD) -j $(JOBS)
	cd $(ASAN_BUILD) && QT_QPA_PLATFORM=offscreen ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1 \
	  ctest --output-on-failure -j $(JOBS)

bench: deps
	$(CMAKE) -S . -B $(BENCH_BUILD) -DCMAKE_BUILD_TYPE=Release -DIDE_BUILD_BENCH=ON -DIDE_BUILD_TESTS=OFF -DIDE_BUILD_DEMO=OFF
	$(CMAKE) --build $(BENCH_BUILD) -j $(JOBS)
	@for b in $(BENCH_BUILD)/bench/bench_*; do \
	  [ -f "$$b" ] && [ -x "$$b" ] || continue; echo "== $$b"; "$$b" || exit 1; done

demo: deps build
	@if [ -z "$$DISPLAY" ] && [ -z "$$WAYLAND_DISPLAY" ]; then \
	  QT_QPA_PLATFORM=offscreen $(BUILD)/demo/gallery --screenshots $(BUILD)/screenshots; \
	else \
	  $(BUILD)/demo/gallery; \
	fi

clean:
	rm -rf $(BUILD) $(ASAN_BUILD) $(BENCH_BUILD) build-fuzz

# The regular expression engine's fuzzer (libFuzzer, ASan + UBSan, clang++).
# Builds build-fuzz/fuzz_regexp and runs it for FUZZ_SECONDS (default 600).
fuzz:
	mkdir -p build-fuzz/corpus
	clang++ -std=c++20 -g -O1 -fsanitize=fuzzer,address,undefined -fno-sanitize-recover=undefined \
	  -DIDE_REGEXP_STEP_BUDGET=200000 -Isrc fuzz/fuzz_regexp.cpp src/regexp/*.cpp src/foundation/Runtime.cpp \
	  -o build-fuzz/fuzz_regexp
	build-fuzz/fuzz_regexp -max_total_time=$${FUZZ_SECONDS:-600} -max_len=300 -timeout=10 -print_final_stats=1 \
	  build-fuzz/corpus fuzz/seeds
