# Thin names for what scripts/ and CMake do. `make` alone lists them.
.PHONY: help demo test bench format check-style tidy soak clean
help:  ## print this list
	@sed -n 's/^\([a-z-]*\):.*## /make \1\t/p' $(MAKEFILE_LIST) | expand -t 18

clean:  ## remove everything that was built
	rm -rf build
