#!/bin/bash
# Whether the engine keeps its clock at every table size: for each Hash size, the time to create the
# table (up to "readyok"), the overshoot of "go movetime T" on the first searches after the option,
# the time "ucinewgame" takes to clear the table (up to "readyok") and the overshoot of the first
# searches after it; then the reply time for a clock below the increment.
#
#   bench/clock_bench.sh [ENGINE]     ENGINE defaults to build/vireo
#
# Environment: HASHES ("128 1024 2048 8192", MB), MOVETIME (100 ms), SEARCHES (3 per case).
# A size the machine cannot back is halved by the engine: the "success" line says what it got.
set -eu

root=$(cd "$(dirname "$0")/.." && pwd)
engine=${1:-$root/build/vireo}
hashes=${HASHES:-128 1024 2048 8192}
movetime=${MOVETIME:-100}
searches=${SEARCHES:-3}
position="position fen r1bq1rk1/pp2bppp/2n1pn2/3p4/2PP4/2N1PN2/PP3PPP/R2QKB1R w KQ - 0 9"
[ -x "$engine" ] || { echo "no engine at $engine (build it first)" >&2; exit 1; }

# Milliseconds, without starting a process.
ms() { local t=${EPOCHREALTIME/./}; echo $((t / 1000)); }

# Sends the lines, then waits for a line starting with the prefix; the milliseconds taken go to
# $took, the last "success" report of table creation to $created.
created="" took=0
timed() {
    local prefix=$1 line start
    shift
    start=$(ms)
    for l in "$@"; do echo "$l" >&3; done
    while read -r line <&4; do
        [[ $line == "info debug Creation of Transposition Table : success"* ]] && created=${line##*: }
        [[ $line == "$prefix"* ]] && break
    done
    took=$(($(ms) - start))
}

# The overshoots of SEARCHES "go movetime" searches, as "a b c" in $over.
overshoots() {
    local k
    over=""
    for ((k = 0; k < searches; k++)); do
        echo "$position" >&3
        timed bestmove "go movetime $movetime"
        over="$over $((took - movetime))"
    done
    over=${over# }
}

for hash in $hashes; do
    coproc ENGINE { "$engine"; }
    exec 3>&"${ENGINE[1]}" 4<&"${ENGINE[0]}"
    timed readyok isready
    timed readyok "setoption name Hash value $hash" isready
    create=$took
    overshoots
    first=$over
    timed readyok ucinewgame isready
    clear=$took
    overshoots
    echo "Hash $hash: $created, created in $create ms; go movetime $movetime overshoot (ms):" \
         "first searches $first; ucinewgame $clear ms, then $over"
    echo quit >&3
    exec 3>&- 4<&-
    wait
done

# The increment comes only after the move: with 10 ms on the clock the answer must come at once.
coproc ENGINE { "$engine"; }
exec 3>&"${ENGINE[1]}" 4<&"${ENGINE[0]}"
timed readyok isready
replies=""
for ((k = 0; k < searches; k++)); do
    echo "$position" >&3
    timed bestmove "go wtime 10 btime 10 winc 1000 binc 1000"
    replies="$replies $took"
done
echo "go wtime 10 btime 10 winc 1000 binc 1000: replies after${replies} ms"
echo quit >&3
exec 3>&- 4<&-
wait
