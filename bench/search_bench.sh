#!/bin/bash
# Search speed: Vireo's "bench" (four positions to depth 12, one thread) and stockfish's own bench
# (16 MB, 1 thread, depth 13) in the same run, then how far "go movetime" overshoots its time.
# Wall-clock speeds on a shared machine depend on its load: the CPU-time figure says how fast the
# search itself is.
#
#   bench/search_bench.sh [ENGINE]     ENGINE defaults to build/vireo
#
# Environment: HASH (MB for Vireo, 128), MOVETIMES ("100 500 1000"), REPEATS (3 per movetime).
set -eu

root=$(cd "$(dirname "$0")/.." && pwd)
engine=${1:-$root/build/vireo}
hash=${HASH:-128}
movetimes=${MOVETIMES:-100 500 1000}
repeats=${REPEATS:-3}
stockfish=/usr/games/stockfish
[ -x "$engine" ] || { echo "no engine at $engine (build it first)" >&2; exit 1; }

# Vireo: the last line of "bench" is "N nodes in T ms, speed = S nodes/s".
log=$(mktemp)
TIMEFORMAT='%U %S'
cpu=$( { time printf 'setoption name Hash value %s\nbench\n' "$hash" | "$engine" > "$log"; } 2>&1 )
report=$(grep 'nodes/s' "$log" | tail -1)
rm -f "$log"
nodes=$(echo "$report" | awk '{print $1}')
cpu_ms=$(echo "$cpu" | awk '{printf "%d", ($1 + $2) * 1000}')
echo "vireo bench:     $report"
[ "$cpu_ms" -gt 0 ] && echo "vireo bench:     $nodes nodes in $cpu_ms ms of CPU time, $((nodes * 1000 / cpu_ms)) nodes/s"

# Stockfish: "Nodes/second : S" on its error stream.
if [ -x "$stockfish" ]; then
    sf=$("$stockfish" bench 16 1 13 2>&1 >/dev/null | grep -E 'Nodes searched|Nodes/second|Total time' | tr -s ' ' | paste -sd ',' -)
    echo "stockfish bench: $sf"
else
    echo "stockfish bench: missing ($stockfish: apt-get install -y stockfish)"
fi

# Movetime overshoot: milliseconds from sending "go movetime T" to reading "bestmove".
ms() { date +%s%3N; }
coproc ENGINE { "$engine"; }
exec 3>&"${ENGINE[1]}" 4<&"${ENGINE[0]}"
echo isready >&3
while read -r line <&4; do [ "$line" = readyok ] && break; done
for t in $movetimes; do
    worst=0 total=0
    for ((k = 0; k < repeats; k++)); do
        echo "position fen r1bq1rk1/pp2bppp/2n1pn2/3p4/2PP4/2N1PN2/PP3PPP/R2QKB1R w KQ - 0 9" >&3
        sent=$(ms)
        echo "go movetime $t" >&3
        while read -r line <&4; do [[ $line == bestmove* ]] && break; done
        over=$(( $(ms) - sent - t ))
        total=$((total + over))
        [ $over -gt $worst ] && worst=$over
    done
    echo "go movetime $t: overshoot mean $((total / repeats)) ms, worst $worst ms over $repeats searches"
done
echo quit >&3
wait
