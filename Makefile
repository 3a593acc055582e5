# Two commands do everything on a fresh Debian/Ubuntu machine: `make run` and `make test`.
.PHONY: run test test-agents build deps bench format lint fuzz clean

JOBS ?= $(shell nproc 2>/dev/null || echo 2)

deps:
	@scripts/install-deps

build: deps
	cmake --preset release
	cmake --build --preset release -j $(JOBS)

run: build
	./build/release/src/app/tessary

test: deps
	cmake --preset asan
	cmake --build --preset asan -j $(JOBS)
	ctest --preset asan

# Only the tests of the real agents (Claude Code, Codex from the npm registry, run offline against
# a stand-in model API); `make test` runs them too, and they count as skipped without a registry.
test-agents: deps
	cmake --preset asan
	cmake --build --preset asan -j $(JOBS)
	ctest --preset agents

bench: deps
	cmake --preset bench
	cmake --build --preset bench -j $(JOBS)
	scripts/run-benchmarks build/bench

fuzz: deps
	cmake --preset fuzz
	cmake --build --preset fuzz -j $(JOBS)
	scripts/run-fuzzers build/fuzz

format:
	git ls-files '*.cpp' '*.h' | xargs clang-format -i

lint: deps
	cmake --preset dev
	scripts/lint build/dev

clean:
	rm -rf build
