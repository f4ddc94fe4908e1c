#!/bin/sh
# Installs what building, testing and training need, skipping what is there. From Debian's
# packages: the native build (cmake, g++, GoogleTest, Fathom), stockfish for reference counts, the
# cross compilers and the programs that run their builds here (mingw-w64 and Wine for Windows x64,
# the ARM64 compiler and qemu), emscripten and Chromium for the browser build, and Fathom's source
# package, unpacked in /usr/local/src/fathom, which the cross builds compile in. From npm: the
# browser build's packages, as web/package-lock.json pins them (npm ci in web/), and the bundlers of
# the package tests (web/tests/consumers/package-lock.json).
#     tools/install-deps.sh            everything
#     tools/install-deps.sh --engine   only what the engine and its CMake build need
# FATHOM_SOURCE=dir puts Fathom's source elsewhere.
set -e
root=$(cd "$(dirname "$0")/.." && pwd)
packages="cmake g++ make libfathom-dev libgtest-dev"
if [ "$1" != "--engine" ]; then
    packages="$packages dpkg-dev stockfish mingw-w64 wine wine64 qemu-user g++-aarch64-linux-gnu emscripten chromium"
    # Debian's npm comes with Debian's nodejs; a node installed otherwise brings its own npm.
    command -v npm >/dev/null 2>&1 || packages="$packages nodejs npm"
fi
FATHOM_SOURCE=${FATHOM_SOURCE:-/usr/local/src/fathom}

sudo=""
[ "$(id -u)" -ne 0 ] && sudo="sudo"
export DEBIAN_FRONTEND=noninteractive
updated=""
update() {
    [ -n "$updated" ] || $sudo apt-get update
    updated=yes
}

missing=""
for p in $packages; do
    dpkg -s "$p" >/dev/null 2>&1 || missing="$missing $p"
done
if [ -n "$missing" ]; then
    $sudo apt-get install -y $missing || { update && $sudo apt-get install -y $missing; }
fi
[ "$1" = "--engine" ] && exit 0

# Source packages come from the same archives as the binary ones: a deb-src entry is made from each
# deb entry of the machine's own apt sources, where none exists yet.
fathomSource() {
    if ! grep -rqs '^Types:.*deb-src\|^deb-src' /etc/apt/sources.list /etc/apt/sources.list.d/; then
        for f in /etc/apt/sources.list.d/*.sources; do
            [ -f "$f" ] && grep -q '^Types: deb$' "$f" &&
                sed 's/^Types: deb$/Types: deb-src/' "$f" | $sudo tee "/etc/apt/sources.list.d/src-$(basename "$f")" >/dev/null
        done
        if [ -f /etc/apt/sources.list ]; then
            sed -n 's/^deb /deb-src /p' /etc/apt/sources.list | $sudo tee /etc/apt/sources.list.d/src-sources.list >/dev/null
        fi
        updated=""
    fi
    update
    work=$(mktemp -d)
    chmod 755 "$work" # apt fetches as its own user
    (cd "$work" && apt-get source fathom)
    $sudo rm -rf "$FATHOM_SOURCE"
    $sudo mkdir -p "$(dirname "$FATHOM_SOURCE")"
    $sudo mv "$work"/fathom-*/ "$FATHOM_SOURCE"
    rm -rf "$work"
}
[ -f "$FATHOM_SOURCE/src/tbprobe.c" ] || fathomSource

# The browser build's packages, exactly as locked; playwright-core drives Debian's Chromium and
# downloads no browser of its own.
# npm ci runs again whenever the lock file has changed since the last install.
npmInstall() {
    cmp -s "$1/package-lock.json" "$1/node_modules/.vireo-installed-lock" && return 0
    npm ci --prefix "$1" --no-audit --no-fund && cp "$1/package-lock.json" "$1/node_modules/.vireo-installed-lock"
}
npmInstall "$root/web"
# The consumer applications of the package tests: Vite, webpack, esbuild and TypeScript, as locked.
npmInstall "$root/web/tests/consumers"
