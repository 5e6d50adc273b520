# The project's commands. `make demo` and `make test` are all a new user needs.
BUILD      ?= build
ASAN_BUILD ?= build-asan
BENCH_BUILD?= build-bench
TSAN_BUILD ?= build-tsan
FUZZ_BUILD ?= build-fuzz
JOBS       ?= $(shell nproc)
CMAKE      ?= cmake

.PHONY: all deps build test test-asan test-tsan bench demo clean fuzz

all: build

deps:
	@sh scripts/deps.sh

# WERROR=ON (set by .ci/run) turns the project's warnings into errors.
WERROR     ?= OFF

build:
	$(CMAKE) -S . -B $(BUILD) -DCMAKE_BUILD_TYPE=RelWithDebInfo -DIDE_WERROR=$(WERROR)
	$(CMAKE) --build $(BUILD) -j $(JOBS)

test: deps build
	cd $(BUILD) && QT_QPA_PLATFORM=offscreen ctest --output-on-failure -j $(JOBS)

test-asan: deps
	$(CMAKE) -S . -B $(ASAN_BUILD) -DCMAKE_BUILD_TYPE=Debug -DIDE_SANITIZE=ON -DIDE_BUILD_DEMO=OFF
	$(CMAKE) --build $(ASAN_BUILD) -j $(JOBS)
	cd $(ASAN_BUILD) && QT_QPA_PLATFORM=offscreen ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1 \
	  ctest --output-on-failure -j $(JOBS)

# The whole suite under ThreadSanitizer (no gallery). scripts/tsan.supp
# silences the reports from inside Qt's own threads, which the sanitizer
# cannot order.
test-tsan: deps
	$(CMAKE) -S . -B $(TSAN_BUILD) -DCMAKE_BUILD_TYPE=RelWithDebInfo -DIDE_TSAN=ON -DIDE_BUILD_DEMO=OFF
	$(CMAKE) --build $(TSAN_BUILD) -j $(JOBS)
	cd $(TSAN_BUILD) && QT_QPA_PLATFORM=offscreen TSAN_OPTIONS="halt_on_error=1 second_deadlock_stack=1 suppressions=$(CURDIR)/scripts/tsan.supp" \
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
	rm -rf $(BUILD) $(ASAN_BUILD) $(TSAN_BUILD) $(BENCH_BUILD) $(FUZZ_BUILD)

# Every fuzz target (fuzz/CMakeLists.txt) as a libFuzzer binary, built with
# clang++ under ASan and UBSan, each run for FUZZ_SECONDS (default 600);
# FUZZ_TARGET=fuzz_x runs one.
fuzz: deps
	$(CMAKE) -S . -B $(FUZZ_BUILD) -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_C_COMPILER=clang \
	  -DIDE_FUZZ=ON -DIDE_BUILD_TESTS=OFF -DIDE_BUILD_DEMO=OFF
	$(CMAKE) --build $(FUZZ_BUILD) -j $(JOBS)
	@for f in $(FUZZ_BUILD)/fuzz/fuzz_*; do \
	  [ -f "$$f" ] && [ -x "$$f" ] || continue; n=$$(basename $$f); \
	  [ -z "$(FUZZ_TARGET)" ] || [ "$(FUZZ_TARGET)" = "$$n" ] || continue; \
	  mkdir -p $(FUZZ_BUILD)/corpus/$$n; echo "== $$n"; \
	  $$f -max_total_time=$${FUZZ_SECONDS:-600} -timeout=10 -print_final_stats=1 \
	    $(FUZZ_BUILD)/corpus/$$n fuzz/seeds/$${n#fuzz_} || exit 1; done
