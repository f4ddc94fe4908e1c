# Sourced by the bench scripts that compare two builds of Vireo. "engine_for NAME" prints the path of
# a vireo binary for NAME:
#   worktree     the working tree as it is, uncommitted changes included, built in
#                $out/build-worktree with release flags whatever build/ holds;
#   a path       an executable vireo binary, as given (made absolute);
#   a revision   built once from "git archive" with release flags and kept as
#                $out/bin/vireo-COMMIT for the next run.
# The caller sets $root (the repository) and $out (its scratch directory); build output goes to
# $out/build-*.log. Plain sh, so that sh and bash scripts share it.
engine_for() {
    if [ "$1" = worktree ]; then
        { cmake -S "$root" -B "$out/build-worktree" -DCMAKE_BUILD_TYPE=Release -DBUILD_TESTING=OFF &&
            cmake --build "$out/build-worktree" -j2 --target vireo; } >"$out/build-worktree.log" 2>&1 ||
            { echo "the working tree does not build: see $out/build-worktree.log" >&2; return 1; }
        echo "$out/build-worktree/vireo"
        return 0
    fi
    if [ -f "$1" ] && [ -x "$1" ]; then
        echo "$(cd "$(dirname "$1")" && pwd)/$(basename "$1")"
        return 0
    fi
    engine_commit=$(git -C "$root" rev-parse --verify --quiet "$1^{commit}") ||
        { echo "'$1' is neither a vireo binary nor a git revision" >&2; return 1; }
    engine_binary=$out/bin/vireo-$engine_commit
    if [ ! -x "$engine_binary" ]; then
        engine_log=$out/build-$engine_commit.log
        engine_tree=$(mktemp -d /tmp/vireo-tree.XXXXXX)
        echo "building $1 ($engine_commit) in $engine_tree" >&2
        # An interrupted build leaves no tree behind.
        trap 'rm -rf "$engine_tree"; exit 130' INT TERM
        mkdir -p "$out/bin"
        if git -C "$root" archive "$engine_commit" | tar -x -C "$engine_tree" &&
            cmake -S "$engine_tree" -B "$engine_tree/build" -DCMAKE_BUILD_TYPE=Release -DBUILD_TESTING=OFF \
                >"$engine_log" 2>&1 &&
            cmake --build "$engine_tree/build" -j2 --target vireo >>"$engine_log" 2>&1; then
            cp "$engine_tree/build/vireo" "$engine_binary"
        fi
        rm -rf "$engine_tree"
        trap - INT TERM
        [ -x "$engine_binary" ] || { echo "$1 does not build: see $engine_log" >&2; return 1; }
    fi
    echo "$engine_binary"
}
