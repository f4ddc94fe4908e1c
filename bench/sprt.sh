#!/bin/sh
# Tests a candidate build of Vireo against a base build in games: a sequential probability ratio test
# through the match tool, over the committed balanced openings (each played with both colours), until
# the test decides or the games run out. The candidate is engine 1: "H1 accepted" means it is about
# ELO1 stronger, "H0 accepted" that it is at most about ELO0 stronger.
#
#   bench/sprt.sh BASE [CANDIDATE]
#
# BASE and CANDIDATE are git revisions (built in a throwaway git worktree under /tmp, release flags,
# and kept by commit id for the next run) or paths to built vireo binaries. CANDIDATE defaults to the
# working tree as it is, uncommitted changes included.
#
# Environment: SPRT (elo0,elo1: 0,10), TC (10+0.1; 5+0.05 for quick screening), GAMES (the most to
# play: two per opening), CONCURRENCY (1; more games at once make the clocks noisier), OPENINGS
# (bench/openings.txt), OUT (builds, PGN and logs: /tmp/vireo-sprt).
set -eu

root=$(cd "$(dirname "$0")/.." && pwd)
if [ $# -lt 1 ] || [ $# -gt 2 ]; then
    sed -n '2,16p' "$0" | sed 's/^# \{0,1\}//' >&2
    exit 1
fi
sprt=${SPRT:-0,10}
tc=${TC:-10+0.1}
concurrency=${CONCURRENCY:-1}
openings=${OPENINGS:-$root/bench/openings.txt}
out=${OUT:-/tmp/vireo-sprt}
games=${GAMES:-$((2 * $(grep -cv '^[[:space:]]*\(#\|$\)' "$openings")))}
mkdir -p "$out/bin"

if [ ! -x /usr/games/stockfish ]; then
    echo "missing /usr/games/stockfish (the referee): apt-get install -y stockfish" >&2
    exit 1
fi

# The working tree builds out of the source tree, so that its flags are the release flags whatever
# build/ holds. The match tool comes from the same build; when the working tree does not configure,
# it is compiled alone (it needs nothing of the engine).
tree_build=$out/build-worktree
configure_tree() {
    cmake -S "$root" -B "$tree_build" -DCMAKE_BUILD_TYPE=Release -DBUILD_TESTING=OFF >"$out/configure-worktree.log" 2>&1
}
tree_configured=no
if configure_tree; then tree_configured=yes; fi
match=$tree_build/match
if [ $tree_configured = no ] || ! cmake --build "$tree_build" -j2 --target match >"$out/build-match.log" 2>&1; then
    echo "the working tree does not build; compiling the match tool alone" >&2
    match=$out/bin/match
    g++ -std=c++20 -O2 -pthread "$root/tools/match.cpp" "$root"/tools/match/*.cpp -o "$match"
fi

# Prints the path of a vireo binary for an argument: a binary as given, the working tree, or a
# revision built once in a throwaway worktree. Build output goes to $out/build-*.log.
engine_for() {
    if [ "$1" = worktree ]; then
        if [ $tree_configured = no ]; then
            echo "the working tree does not configure: see $out/configure-worktree.log" >&2
            return 1
        fi
        cmake --build "$tree_build" -j2 --target vireo >"$out/build-worktree.log" 2>&1 ||
            { echo "the working tree does not build: see $out/build-worktree.log" >&2; return 1; }
        echo "$tree_build/vireo"
        return 0
    fi
    if [ -f "$1" ] && [ -x "$1" ]; then
        echo "$(cd "$(dirname "$1")" && pwd)/$(basename "$1")"
        return 0
    fi
    commit=$(git -C "$root" rev-parse --verify --quiet "$1^{commit}") ||
        { echo "'$1' is neither a vireo binary nor a git revision" >&2; return 1; }
    binary=$out/bin/vireo-$commit
    if [ ! -x "$binary" ]; then
        tree=$(mktemp -d /tmp/vireo-sprt-tree.XXXXXX)
        echo "building $1 ($commit) in $tree" >&2
        # An interrupted build leaves no worktree behind.
        trap 'git -C "$root" worktree remove --force "$tree" >/dev/null 2>&1; exit 130' INT TERM
        git -C "$root" worktree add --detach --quiet "$tree" "$commit"
        log=$out/build-$commit.log
        if cmake -S "$tree" -B "$tree/build" -DCMAKE_BUILD_TYPE=Release -DBUILD_TESTING=OFF >"$log" 2>&1 &&
            cmake --build "$tree/build" -j2 --target vireo >>"$log" 2>&1; then
            cp "$tree/build/vireo" "$binary"
        fi
        git -C "$root" worktree remove --force "$tree"
        trap - INT TERM
        [ -x "$binary" ] || { echo "$1 does not build: see $log" >&2; return 1; }
    fi
    echo "$binary"
}

base_name=$1
candidate_name=${2:-worktree}
base=$(engine_for "$base_name")
candidate=$(engine_for "$candidate_name")
tag=$(echo "$candidate_name-vs-$base_name" | tr -c 'A-Za-z0-9._-' '_')

echo "### $candidate_name ($candidate) vs $base_name ($base): SPRT $sprt at $tc, at most $games games"
"$match" --engine1 "$candidate" --name1 "$candidate_name" --option1 Hash=16 \
    --engine2 "$base" --name2 "$base_name" --option2 Hash=16 \
    --openings "$openings" --sprt "$sprt" --games "$games" --tc "$tc" --concurrency "$concurrency" \
    --referee /usr/games/stockfish --pgn "$out/$tag.pgn" | tee "$out/$tag.txt"
