# Thin names for what scripts/ and CMake do. `make` alone lists them.
.PHONY: help demo test soak bench format check-style tidy clean
help:  # print this list
	@sed -n 's/^\([a-z-]*\): *# /make \1\t/p' $(MAKEFILE_LIST) | expand -t 20

demo:  # build the tools and see the road of a route on a recorded network
	@scripts/setup build demo
	@scripts/build release brindle-sim brindle-publish
	@sim/demo

test:  # everything that must hold: two builds, all tests, the checks
	@scripts/test

soak:  # the long simulations
	@scripts/setup build demo test
	@scripts/build debug
	@build/debug/tests/brindle-tests --gtest_filter='Soak*'
	@build/debug/tests/simulation/brindle-simulation --from $$(date +%s) --seconds 600

bench:  # the benchmarks, each figure beside its bar
	@scripts/setup build demo bench
	@scripts/build release
	@bench/run build/release/bench/brindle-bench

format:  # bring every source into the layout of .clang-format
	@scripts/setup format
	@scripts/format

check-style:  # print the figures that tell readable code
	@scripts/setup style
	@scripts/check-style

tidy:  # clang-tidy with the checks of .clang-tidy
	@scripts/tidy

clean:  # remove everything that was built
	rm -rf build
