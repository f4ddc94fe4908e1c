#!/bin/sh
# Plays Vireo against GNU Chess and against Glaurung, 100 games each at 10 s + 0.1 s, with stockfish
# as the referee, and prints both summaries (score, Elo with its 95% error bar, engine faults).
# Each match takes about an hour.
#
#   bench/match.sh [ENGINE]          ENGINE defaults to build/vireo (built first when missing)
#
# Environment: GAMES (100), TC (10+0.1), CONCURRENCY (1; more games at once make the clocks noisier
# on a busy machine), SEED (1), BUILD (build), OUT (directory for PGN and logs, /tmp/vireo-match).
# Opponents: apt-get install -y gnuchess glaurung stockfish
set -eu

root=$(cd "$(dirname "$0")/.." && pwd)
build=${BUILD:-$root/build}
engine=${1:-$build/vireo}
games=${GAMES:-100}
tc=${TC:-10+0.1}
concurrency=${CONCURRENCY:-1}
seed=${SEED:-1}
out=${OUT:-/tmp/vireo-match}
mkdir -p "$out"

for program in /usr/games/stockfish /usr/games/gnuchess /usr/games/glaurung; do
    if [ ! -x "$program" ]; then
        echo "missing $program: apt-get install -y stockfish gnuchess glaurung" >&2
        exit 1
    fi
done

# The match tool needs nothing of the engine, so it is compiled on its own when the project does not
# configure or build. The function runs as a condition, where a failure does not end the script.
build_match() {
    [ -f "$build/CMakeCache.txt" ] || cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=Release || return 1
    cmake --build "$build" -j2 --target match
}
match=$build/match
if ! build_match >/dev/null 2>&1; then
    echo "project configure or build failed; compiling the match tool alone" >&2
    match=$out/match
    g++ -std=c++20 -O2 -pthread "$root/tools/match.cpp" "$root"/tools/match/*.cpp -o "$match"
fi
if [ $# -eq 0 ]; then
    cmake --build "$build" -j2 --target vireo
fi
if [ ! -x "$engine" ]; then
    echo "no engine at $engine" >&2
    exit 1
fi

play() {
    name=$1
    shift
    echo "### Vireo vs $name: $games games at $tc"
    "$match" --engine1 "$engine" --option1 Hash=16 "$@" \
        --games "$games" --tc "$tc" --random-plies 4 --seed "$seed" --concurrency "$concurrency" \
        --referee /usr/games/stockfish --pgn "$out/vireo-vs-$name.pgn" | tee "$out/vireo-vs-$name.txt"
}

play gnuchess --engine2 "/usr/games/gnuchess --uci" --option2 Hash=16 --option2 OwnBook=false
play glaurung --engine2 /usr/games/glaurung --option2 Hash=16 --option2 Threads=1 --option2 OwnBook=false

echo
echo "### Summaries (games in $out)"
for name in gnuchess glaurung; do
    sed -n '/^=== /,$p' "$out/vireo-vs-$name.txt"
done
