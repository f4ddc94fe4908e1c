#!/bin/sh
# One style for the JavaScript, as for the C++: the package, the page, their tests and the level tools
# must come out of Prettier unchanged and pass ESLint, both as web/package-lock.json pins them.
# Skipped (status 77) without web/node_modules.
# Usage: lint.sh [source root]
cd "${1:-$(dirname "$0")/../..}/web" || exit 2
if [ ! -x node_modules/.bin/prettier ] || [ ! -x node_modules/.bin/eslint ]; then
    echo "SKIPPED: Prettier and ESLint come with web/node_modules (npm ci --prefix web)"
    exit 77
fi
files="src page tests levels build-inline.mjs bench.mjs eslint.config.js"
node_modules/.bin/prettier --check $files && node_modules/.bin/eslint $files
