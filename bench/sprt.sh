#!/bin/sh
# Tests a candidate build of Vireo against a base build in games: a sequential probability ratio test
# through the match tool, over the committed balanced openings (each played with both colours), until
# the test decides or the games run out. The candidate is engine 1: "H1 accepted" means it is about
# ELO1 stronger, "H0 accepted" that it is at most about ELO0 stronger.
#
#   bench/sprt.sh BASE [CANDIDATE]
#
# BASE and CANDIDATE are git revisions (built from "git archive" with release flags, and kept by
# commit id under OUT for the next run) or paths to built vireo binaries. CANDIDATE defaults to the
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

. "$root/bench/engine_for.sh"

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
