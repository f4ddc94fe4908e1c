#!/bin/sh
# Measures the web page's playing levels (web/page/levels.js) in games: each level against the one below
# it, level 1 against a uniformly random mover, with the native engine under the page's own move choice
# (web/levels/level-engine.mjs) and stockfish as the referee. Prints the ladder as a Markdown table.
#
#   bench/levels.sh [LEVEL...]     play the matches of these levels (default: all), then print the table
#   bench/levels.sh --table        print the table of the matches already played
#
# LEVEL N plays level N against level N-1 (level 1: against the random mover). The levels are depths, so
# the clock is generous and plays no part; games are adjudicated by score agreement and a ply limit.
# Environment: GAMES (100), TC (600+1), RESIGN (1000:3), MAX_PLIES (240), CONCURRENCY (2),
# BUILD (build), OUT (build/levels: one summary, log and PGN per match).
# Several runs with different levels may share OUT and run at once; --table then gathers them. The levels
# that rate every move cost the most after the deepest ones: each of their moves is some thirty searches.
set -eu

root=$(cd "$(dirname "$0")/.." && pwd)
build=${BUILD:-$root/build}
games=${GAMES:-100}
tc=${TC:-600+1}
resign=${RESIGN:-1000:3}
max_plies=${MAX_PLIES:-240}
concurrency=${CONCURRENCY:-2}
mkdir -p "${OUT:-$build/levels}"
out=$(cd "${OUT:-$build/levels}" && pwd)
adapter="node $root/web/levels/level-engine.mjs --engine $build/vireo"

count=$(cd "$root/web/page" && node -e "import('./levels.js').then((m) => console.log(m.LEVELS.length))")

play() {
    level=$1
    if [ "$level" -eq 1 ]; then below="--random"; else below="--level $((level - 1))"; fi
    echo "### level $level: $games games at $tc" >&2
    nice -n 15 "$build/match" --engine1 "$adapter --level $level" --engine2 "$adapter $below" \
        --games "$games" --openings "$root/bench/openings.txt" --tc "$tc" --resign "$resign" \
        --max-plies "$max_plies" --concurrency "$concurrency" --referee /usr/games/stockfish \
        --pgn "$out/level-$level.pgn" >"$out/level-$level.log"
    sed -n '/^=== /,$p' "$out/level-$level.log" >"$out/level-$level.txt"
    cat "$out/level-$level.txt" >&2
}

# The Markdown table of the matches in $out, with each level's cumulative Elo above the random mover
# (summed up to the first level whose match is missing or whose difference has no finite value).
table() {
    cd "$root/web/page" && node -e "import('./levels.js').then((m) => m.LEVELS.forEach((l) =>
        console.log([l.level, l.name + ': ' + l.description].join('\t'))))" | while IFS="$(printf '\t')" read -r level what; do
        file="$out/level-$level.txt"
        if [ -f "$file" ]; then printf '%s\t%s\t' "$level" "$what"; sed -n 's/^Score of [^:]*: W \([0-9]*\)  D \([0-9]*\)  L \([0-9]*\)  (\(.*\)%)$/\1\t\2\t\3\t\4/p; s/^Elo difference: \(.*\) (95%).*/\1/p' "$file" | paste -s -d '\t'
        else printf '%s\t%s\t\t\t\t\t\n' "$level" "$what"; fi
    done | awk -F '\t' -v games="$games" '
        BEGIN {
            print "| Level | What it is | Opponent | Games | W / D / L | Score | Elo difference (95%) | Above random |"
            print "|---|---|---|---|---|---|---|---|"
            total = 0; finite = 1
        }
        {
            opponent = $1 == 1 ? "random mover" : "level " ($1 - 1)
            if ($3 == "") { print "| " $1 " | " $2 " | " opponent " | | | | not played | |"; finite = 0; next }
            split($7, elo, " ")
            if (finite && elo[1] ~ /^[-+]?[0-9.]+$/) { total += elo[1]; above = sprintf("%+.0f", total) }
            else { finite = 0; above = "" }
            print "| " $1 " | " $2 " | " opponent " | " ($3 + $4 + $5) " | " $3 " / " $4 " / " $5 " | " $6 "% | " $7 " | " above " |"
        }'
}

if [ "${1:-}" = "--table" ]; then
    table
    exit 0
fi
if [ ! -x "$build/match" ]; then cmake --build "$build" -j2 --target match; fi
if [ ! -x "$build/vireo" ]; then cmake --build "$build" -j2 --target vireo; fi
if [ ! -x /usr/games/stockfish ]; then
    echo "missing /usr/games/stockfish (the referee): apt-get install -y stockfish" >&2
    exit 1
fi
if [ $# -eq 0 ]; then set -- $(seq 1 "$count"); fi
for level in "$@"; do
    if [ "$level" -lt 1 ] || [ "$level" -gt "$count" ]; then
        echo "no level $level (1 to $count)" >&2
        exit 1
    fi
done
for level in "$@"; do play "$level"; done
table
