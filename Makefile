# The engine built with nothing but make and a C++20 compiler (GCC 10 or later, or Clang 12), as
# testing frameworks such as OpenBench build it, on Linux and on Windows (MinGW-w64 / MSYS2):
#
#     make [-j] [EXE=name] [CXX=compiler]   the release engine at ./$(EXE) (default ./vireo)
#     make release                          every release build, with SHA256SUMS, in dist/
#     make clean                            removes build-make/, dist/, web/dist/ and ./$(EXE)
#     make web                              the browser engine (WebAssembly in a Web Worker), its
#                                           package files and the play page, in web/dist/, with
#                                           Debian's emscripten; the page's libraries come from
#                                           web/node_modules (npm ci --prefix web)
#
# Settings:
#     ARCH=x86-64-v2    x86-64 only: the processor level (x86-64 for any x86-64 processor). Never
#                       "native" for a build whose node counts others compare: every build counts
#                       the same nodes, but only when none fuses multiply-adds (-ffp-contract=off).
#     FATHOM=auto       Syzygy tablebases through Fathom where its header and library are found
#                       (Debian: libfathom-dev); yes: required; no: the build without tablebases,
#                       which searches exactly as the engine does with Fathom and no tables.
#     FATHOM_SOURCE=dir Fathom's src/ folder, compiled in (Debian: apt-get source fathom); the
#                       cross builds of the release take it from /usr/local/src/fathom/src.
#     STATIC=yes        link statically (the default on Windows: no DLLs needed beside the .exe).
#     STRIP=yes         leave the symbols out (the release does).
#     OBJDIR=dir        where the objects go.
# CMake (CMakeLists.txt) remains the developers' build, with the tests.

EXE ?= vireo
ARCH ?= x86-64-v2
FATHOM ?= auto
FATHOM_SOURCE ?=
OBJDIR ?=

# Testers run "make" and "make clean"; anything else is a mistake, named before make looks for a
# rule (make would call "make bench" up to date, bench/ being a folder).
unknown := $(filter-out all release clean web,$(MAKECMDGOALS))
ifneq ($(unknown),)
$(error unknown target '$(unknown)': the targets are all (the default), release, web and clean; settings: EXE=name CXX=compiler ARCH=level FATHOM=auto|yes|no)
endif

.DEFAULT_GOAL := all
.PHONY: all release clean web

ifeq ($(filter release clean web,$(MAKECMDGOALS)),)
TARGET := $(shell $(CXX) -dumpmachine 2>/dev/null)
ifeq ($(TARGET),)
$(error C++ compiler '$(CXX)' not found: install one (Debian: apt-get install g++) or give CXX=...)
endif
VERSION := $(shell sed -n 's/^project.Vireo VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)

FLAGS := -std=c++20 -O3 -ffp-contract=off -Wall -Wextra -Wno-unused-parameter -I.
LINK :=
ifneq ($(findstring mingw,$(TARGET)),)
    # MinGW's own printf and scanf know %llu and %zu, as the C library of old Windows does not.
    FLAGS += -D__USE_MINGW_ANSI_STDIO=1
    STATIC ?= yes
else ifneq ($(findstring emscripten,$(TARGET)),)
    # The browser: an ES module factory for a Web Worker. Reading a line and the waiting-input test
    # suspend the engine through Asyncify (platform/stdin_web.cpp); no function pointer lies
    # between the command loop and those two, so indirect calls need no instrumenting (the browser
    # tests Web.go, Web.stop and Web.isready fail the day one does: no search then ends). The saved frames of a deep search need more
    # than the default 4 kB. Memory grows from the 128 MB table up to 2 GB ("Hash" 1024). SIMD,
    # bulk memory and non-trapping conversions (every browser since 2023) gain about 5% in "bench";
    # lane-wise sums round as scalar ones do, so the node count stays that of every other build.
    FLAGS += -msimd128 -mbulk-memory -mnontrapping-fptoint
    LINK += -sASYNCIFY -sASYNCIFY_IGNORE_INDIRECT -sASYNCIFY_STACK_SIZE=262144 -sTOTAL_STACK=8MB \
            -sMODULARIZE -sEXPORT_ES6 -sEXPORT_NAME=createVireo -sENVIRONMENT=worker \
            -sINITIAL_MEMORY=160MB -sALLOW_MEMORY_GROWTH -sMAXIMUM_MEMORY=2GB \
            -sEXPORTED_RUNTIME_METHODS=ccall -sEXPORTED_FUNCTIONS=_main,_malloc,_free,_vireoExplain
else ifneq ($(findstring linux,$(TARGET)),)
    # A position-dependent executable addresses its tables directly: about 3% faster.
    FLAGS += -fno-pie
    LINK += -no-pie
endif
ifneq ($(findstring x86_64,$(TARGET)),)
    ifneq ($(ARCH),)
        FLAGS += -march=$(ARCH)
    endif
    LEVEL := $(ARCH)
else
    LEVEL :=
endif
ifeq ($(STATIC),yes)
    LINK += -static
endif
ifeq ($(STRIP),yes)
    LINK += -s
endif

# Fathom: compiled from a source folder, linked from the system, or left out.
ifneq ($(FATHOM_SOURCE),)
    FATHOM_USED := source
    FLAGS += -DVIREO_FATHOM=1 -I$(FATHOM_SOURCE)
else ifneq ($(FATHOM),no)
    FATHOM_FOUND := $(shell printf '\043include <tbprobe.h>\nint main() { return tb_init("<empty>") ? 0 : 1; }\n' | \
        $(CXX) -x c++ - -o /dev/null -lfathom >/dev/null 2>&1 && echo yes)
    ifeq ($(FATHOM_FOUND),yes)
        FATHOM_USED := system
        FLAGS += -DVIREO_FATHOM=1
        LIBS := -lfathom
    else ifeq ($(FATHOM),yes)
        $(error Fathom not found (tbprobe.h and libfathom): install it (Debian: apt-get install libfathom-dev), give FATHOM_SOURCE=its src folder, or build without tablebases: FATHOM=no)
    else
        FATHOM_USED := none
    endif
else
    FATHOM_USED := none
endif

# Each setting has its own objects, so that switching between them never mixes two.
OBJDIR_USED := $(if $(OBJDIR),$(OBJDIR),build-make/$(TARGET)$(if $(LEVEL),-$(LEVEL))-$(FATHOM_USED)$(if $(STATIC),-static))
SOURCES := $(sort $(wildcard platform/*.cpp engine/*/*.cpp sliders/*.cpp transposition/*.cpp evaluation/*.cpp))
OBJECTS := $(patsubst %.cpp,$(OBJDIR_USED)/%.o,$(SOURCES))
FATHOM_OBJECT := $(if $(FATHOM_SOURCE),$(OBJDIR_USED)/fathom/tbprobe.o)
endif

all: $(EXE)
	@echo "Built $(EXE) for $(TARGET)$(if $(LEVEL), ($(LEVEL))), tablebases: $(if $(filter none,$(FATHOM_USED)),none (no Fathom),Fathom ($(FATHOM_USED)))"

$(EXE): $(OBJECTS) $(FATHOM_OBJECT)
	$(CXX) $(FLAGS) $^ -o $@ $(LINK) $(LIBS)

$(OBJDIR_USED)/generated/vireo_version.h: engine/frontend/vireo_version.h.in CMakeLists.txt
	@mkdir -p $(@D)
	sed 's/@PROJECT_VERSION@/$(VERSION)/' $< > $@

$(OBJDIR_USED)/%.o: %.cpp | $(OBJDIR_USED)/generated/vireo_version.h
	@mkdir -p $(@D)
	$(CXX) $(FLAGS) -I$(OBJDIR_USED)/generated -MMD -MP -c $< -o $@

# Fathom's C source, with the settings Debian builds its library with.
$(OBJDIR_USED)/fathom/tbprobe.o: $(FATHOM_SOURCE)/tbprobe.c
	@mkdir -p $(@D)
	$(CXX) -x c -std=gnu99 -O3 $(filter -march=%,$(FLAGS)) -DTB_NO_THREADS -DTB_NO_HW_POP_COUNT -I$(FATHOM_SOURCE) -w -c $< -o $@

-include $(OBJECTS:.o=.d)

# The release: statically linked engines for Linux (x86-64 at two levels, ARM64) and Windows x64,
# with Fathom compiled in from Debian's source package, each named for its platform, always built
# afresh.
RELEASE_FATHOM ?= /usr/local/src/fathom/src
RELEASE_VERSION := $(shell sed -n 's/^project.Vireo VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)
RELEASE_NAME := dist/vireo-$(RELEASE_VERSION)
release:
	@test -f $(RELEASE_FATHOM)/tbprobe.c || { echo "make: Fathom's source not found in $(RELEASE_FATHOM): run tools/install-deps.sh (it unpacks Debian's source package there) or give RELEASE_FATHOM=dir" >&2; exit 1; }
	rm -rf build-make/release dist
	@mkdir -p dist
	$(MAKE) EXE=$(RELEASE_NAME)-linux-x86-64-v2 CXX=g++ ARCH=x86-64-v2 STATIC=yes STRIP=yes FATHOM_SOURCE=$(RELEASE_FATHOM) OBJDIR=build-make/release/linux-x86-64-v2
	$(MAKE) EXE=$(RELEASE_NAME)-linux-x86-64 CXX=g++ ARCH=x86-64 STATIC=yes STRIP=yes FATHOM_SOURCE=$(RELEASE_FATHOM) OBJDIR=build-make/release/linux-x86-64
	$(MAKE) EXE=$(RELEASE_NAME)-linux-aarch64 CXX=aarch64-linux-gnu-g++ STATIC=yes STRIP=yes FATHOM_SOURCE=$(RELEASE_FATHOM) OBJDIR=build-make/release/linux-aarch64
	$(MAKE) EXE=$(RELEASE_NAME)-windows-x86-64-v2.exe CXX=x86_64-w64-mingw32-g++ ARCH=x86-64-v2 STRIP=yes FATHOM_SOURCE=$(RELEASE_FATHOM) OBJDIR=build-make/release/windows-x86-64-v2
	$(MAKE) EXE=$(RELEASE_NAME)-windows-x86-64.exe CXX=x86_64-w64-mingw32-g++ ARCH=x86-64 STRIP=yes FATHOM_SOURCE=$(RELEASE_FATHOM) OBJDIR=build-make/release/windows-x86-64
	cp LICENSE dist/LICENSE
	cd dist && rm -f SHA256SUMS && sha256sum vireo-$(RELEASE_VERSION)-* LICENSE > SHA256SUMS
	@ls -l dist

# The browser build: the engine through em++ (emcc 3.1.6 finds its acorn only through NODE_PATH),
# then the package's modules, the licence and the play page beside it. The glue's own way to the
# .wasm (new URL("vireo-wasm.wasm", import.meta.url)) is never taken, since the workers load the
# .wasm themselves; it is made a plain string, so that bundlers do not emit the .wasm a second time.
# vireo.inline.js is the worker with everything inside, for bundlers that leave the files out.
WEB_DIST := web/dist
WEB_LIBRARIES := web/node_modules/chess.js/dist/esm/chess.js web/node_modules/cm-chessboard web/node_modules/esbuild
WEB_MODULES := client.js engine-host.js vireo.js vireo.node.js vireo.worker.js vireo.node-worker.js cli.js vireo.d.ts
web:
	@command -v em++ >/dev/null || { echo "make: em++ not found: install emscripten (Debian: apt-get install emscripten)" >&2; exit 1; }
	@for f in $(WEB_LIBRARIES); do test -e $$f || { echo "make: $$f not found: run npm ci --prefix web" >&2; exit 1; }; done
	@mkdir -p $(WEB_DIST)
	NODE_PATH=/usr/share/nodejs $(MAKE) EXE=$(WEB_DIST)/vireo-wasm.js CXX=em++ ARCH= FATHOM=no OBJDIR=build-make/web-simd128
	sed -i 's|new URL("vireo-wasm.wasm",import.meta.url).toString()|"vireo-wasm.wasm"|' $(WEB_DIST)/vireo-wasm.js
	! grep -q 'new URL("vireo-wasm.wasm"' $(WEB_DIST)/vireo-wasm.js
	cp $(addprefix web/src/,$(WEB_MODULES)) $(WEB_DIST)/
	node web/build-inline.mjs
	cp LICENSE $(WEB_DIST)/LICENSE
	node web/page/build.mjs $(WEB_DIST)
	@ls -l $(WEB_DIST)

clean:
	rm -rf build-make dist web/dist
	rm -f $(EXE)
