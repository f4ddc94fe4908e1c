#!/bin/sh
# One style for the C++ sources: every .cpp and .h of the project must come out of clang-format
# unchanged under the committed .clang-format. The generated tables (Zobrist numbers, magic
# multipliers, the king-and-pawn bitbase, the fitted weights) keep their generators' layout and are
# left out. Other clang-format versions break lines differently, so the check runs only with the
# major version the style was set with, and is skipped (status 77) without it.
# Usage: format_check.sh [source root]
cd "${1:-$(dirname "$0")/..}" || exit 2
STYLE_VERSION=14

format=""
for candidate in clang-format-$STYLE_VERSION clang-format; do
    if command -v "$candidate" >/dev/null 2>&1 &&
        "$candidate" --version | grep -q "version $STYLE_VERSION\."; then
        format=$candidate
        break
    fi
done
if [ -z "$format" ]; then
    echo "SKIPPED: clang-format $STYLE_VERSION is not installed (Debian: apt-get install clang-format-$STYLE_VERSION)"
    exit 77
fi

files=$(find platform engine evaluation sliders transposition tools tests bench -name '*.cpp' -o -name '*.h' |
    grep -v -e 'engine/board/zobrist_numbers\.cpp$' -e 'sliders/magics\.cpp$' \
        -e 'evaluation/kpk_bitbase\.cpp$' -e 'evaluation/weights\.cpp$' | sort)
# --dry-run --Werror names every line that would change and fails if there is one.
# shellcheck disable=SC2086 # one word per file name; the sources have no blanks in their names
"$format" --style=file --dry-run --Werror $files
