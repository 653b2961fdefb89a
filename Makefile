# The two commands of the quick start, and a few more for development.
.PHONY: demo test bench tsan clean

# Builds the library and runs the demonstration program.
demo:
	@scripts/deps.sh demo
	@cmake --preset release >/dev/null
	@cmake --build --preset release --target kest_demo
	@build/release/bin/kest_demo

# Builds and runs every test: native with sanitizers, Windows under Wine,
# 32-bit layouts.
test:
	@scripts/test-all.sh

# Builds the benchmarks in Release and runs them all.
bench:
	@scripts/deps.sh bench
	@cmake --preset release >/dev/null
	@cmake --build --preset release
	@for b in build/release/bin/kest_bench_*; do echo "== $$b"; $$b; done

# The test programs under ThreadSanitizer (slow; not part of `make test`).
tsan:
	@cmake --preset tsan >/dev/null
	@cmake --build --preset tsan
	@scripts/run-tests.sh tsan build/tsan

clean:
	rm -rf build
