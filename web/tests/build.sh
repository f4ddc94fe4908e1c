#!/bin/sh
# Builds web/dist/ for the browser tests (make web), or skips them (status 77) when the tools are missing.
top="$1"
command -v em++ >/dev/null || { echo "SKIPPED: the browser build needs em++ (Debian: apt-get install emscripten)"; exit 77; }
[ -d "$top/web/node_modules/playwright-core" ] || { echo "SKIPPED: the browser tests need web/node_modules (npm ci --prefix web)"; exit 77; }
exec make -C "$top" web
