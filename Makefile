# The engine for testing frameworks that build with make, OpenBench among them:
#
#     make [-j] [EXE=name] [CXX=compiler]     the release engine at ./$(EXE) (default ./vireo)
#     make clean                              removes build-openbench/ and ./$(EXE)
#
# This drives the project's CMake build in a folder of its own (build/ stays the developers'),
# without the tests, so GoogleTest is not needed. The architecture is the project's portable
# default, never "native": every worker that builds a commit must count the same bench nodes.
# Needs cmake, a C++20 compiler and Fathom (Debian: cmake g++ make libfathom-dev).

EXE       ?= vireo
CMAKE     ?= cmake
BUILD_DIR := build-openbench
# "make -j" without a number would start one compiler per source file at once; the inner build
# runs as many as there are processors instead (JOBS=N to choose).
JOBS      ?= $(shell nproc 2>/dev/null || echo 2)

# Testers only run "make"; any other target is a mistake, named before make looks for a rule
# (make would call "make bench" up to date, bench/ being a folder).
unknown := $(filter-out all clean,$(MAKECMDGOALS))
ifneq ($(unknown),)
$(error unknown target '$(unknown)': the targets are all (the default) and clean; settings: EXE=name CXX=compiler JOBS=n)
endif

.DEFAULT_GOAL := all
.PHONY: all clean

all:
	@command -v $(firstword $(CMAKE)) >/dev/null 2>&1 || { \
	    echo "make: cmake not found: install CMake 3.22 or later (Debian: apt-get install cmake)" >&2; exit 1; }
	@command -v $(firstword $(CXX)) >/dev/null 2>&1 || { \
	    echo "make: C++ compiler '$(CXX)' not found: install it (Debian: apt-get install g++) or give CXX=..." >&2; exit 1; }
	@if [ -z "$(EXE)" ] || [ -d "$(EXE)" ]; then \
	    echo "make: EXE='$(EXE)' is not a file name for the engine" >&2; exit 1; fi
	$(CMAKE) -S . -B $(BUILD_DIR) -DCMAKE_BUILD_TYPE=Release -DBUILD_TESTING=OFF -UVIREO_ARCH \
	    -DCMAKE_CXX_COMPILER=$(CXX)
	MAKEFLAGS= $(CMAKE) --build $(BUILD_DIR) --target vireo --parallel $(JOBS)
	cp $(BUILD_DIR)/vireo $(EXE)

clean:
	rm -rf $(BUILD_DIR)
	rm -f $(EXE)

