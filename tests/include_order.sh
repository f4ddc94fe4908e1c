#!/bin/sh
# Includes run one way: the platform layer (what differs between systems and processors), the
# board (with the slider tables), then the evaluation, then the search (with the transposition
# table), then the front end. Prints every quoted include of the engine's
# sources that points upwards or out of the engine, and fails if there is one.
# Usage: include_order.sh [source root]
cd "${1:-$(dirname "$0")/..}" || exit 2
root=$(pwd)

level() {
    case "$1" in
        platform/*) echo 0 ;;
        engine/board/*|sliders/*) echo 1 ;;
        evaluation/*) echo 2 ;;
        engine/search/*|transposition/*) echo 3 ;;
        engine/*) echo 4 ;;
        *) echo 5 ;;
    esac
}

name() {
    case "$1" in
        0) echo "the platform layer" ;;
        1) echo "the board" ;;
        2) echo "the evaluation" ;;
        3) echo "the search" ;;
        4) echo "the front end" ;;
        *) echo "anything outside the engine" ;;
    esac
}

wrong=0
for file in $(find platform engine sliders evaluation transposition -name '*.h' -o -name '*.cpp' | sort); do
    from=$(level "$file")
    for target in $(sed -n 's/^[[:space:]]*#[[:space:]]*include[[:space:]]*"\([^"]*\)".*/\1/p' "$file"); do
        # A quoted include is looked for beside the including file first, then from the top folder.
        path=$(realpath -m --relative-to="$root" "$(dirname "$file")/$target")
        [ -e "$path" ] || path=$target
        if [ ! -e "$path" ]; then
            echo "$file: includes $target, which is not in the source tree"
            wrong=1
        elif [ "$(level "$path")" -gt "$from" ]; then
            echo "$file: includes $path: $(name "$from") may not include $(name "$(level "$path")")"
            wrong=1
        fi
    done
done
[ $wrong = 0 ] && echo "Includes run one way."
exit $wrong
