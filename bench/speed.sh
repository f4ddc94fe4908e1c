#!/bin/bash
# Speed of a candidate build against a base build, measured in the same run on one core:
#  1. "vireo bench" (its own node count and time), base and candidate alternately, RUNS times each;
#     every run, the median nodes/s of each and the ratio candidate / base;
#  2. perft 6 from the start position (Vireo's own time report) beside stockfish's "go perft 6"
#     (wall time of the process minus that of a process that only starts and quits), alternately,
#     RUNS times each; every run, the median time of each and the ratio Vireo / stockfish.
# The figures are printed, never checked: on a loaded machine they say little.
#
#   bench/speed.sh [BASE [CANDIDATE]]
#
# BASE and CANDIDATE are paths to built vireo binaries or git revisions, which are built here
# (release flags, from "git archive", kept by commit id under OUT). BASE defaults to 52b386c, the
# last commit before the speed work; CANDIDATE to the working tree as it is, built under OUT.
#
# Environment: RUNS (5), CPU (the core to run on: 0), OUT (builds: /tmp/vireo-speed),
# STOCKFISH (/usr/games/stockfish).
set -eu

root=$(cd "$(dirname "$0")/.." && pwd)
runs=${RUNS:-5}
cpu=${CPU:-0}
out=${OUT:-/tmp/vireo-speed}
stockfish=${STOCKFISH:-/usr/games/stockfish}
mkdir -p "$out/bin"

. "$root/bench/engine_for.sh"

median() { tr ' ' '\n' | grep . | sort -n | awk '{ v[NR] = $1 } END { print NR % 2 ? v[(NR + 1) / 2] : (v[NR / 2] + v[NR / 2 + 1]) / 2 }'; }
ratio() { awk -v a="$1" -v b="$2" 'BEGIN { printf "%.3f", b ? a / b : 0 }'; }
now_ns() { date +%s%N; }

base_name=${1:-52b386c}
candidate_name=${2:-worktree}
base=$(engine_for "$base_name")
candidate=$(engine_for "$candidate_name")
echo "base:      $base_name ($base)"
echo "candidate: $candidate_name ($candidate)"
echo "core $cpu, $runs runs each, alternating"

# The last line of "bench" is "N nodes in T ms, speed = S nodes/s".
bench_nps() { echo bench | taskset -c "$cpu" "$1" | tail -1 | sed -n 's/.*speed = \([0-9]*\) nodes.*/\1/p'; }
echo
echo "== bench (nodes/s)"
base_runs="" candidate_runs=""
for ((i = 1; i <= runs; i++)); do
    b=$(bench_nps "$base")
    c=$(bench_nps "$candidate")
    base_runs="$base_runs $b"
    candidate_runs="$candidate_runs $c"
    echo "run $i: base $b  candidate $c"
done
base_median=$(echo "$base_runs" | median)
candidate_median=$(echo "$candidate_runs" | median)
echo "median: base $base_median  candidate $candidate_median  ratio $(ratio "$candidate_median" "$base_median")"

# Vireo's report of "perft 6" is "N nodes in T ms, ...": the count alone, without start-up.
perft_ms() { printf 'position startpos\nperft 6\nquit\n' | taskset -c "$cpu" "$1" | tail -1 | sed -n 's/.* nodes in \([0-9]*\) ms.*/\1/p'; }
# Stockfish answers "go perft 6" before it reads "quit"; its start-up is taken off.
stockfish_ms() {
    local t0 t1 t2
    t0=$(now_ns)
    printf 'quit\n' | taskset -c "$cpu" "$stockfish" >/dev/null 2>&1
    t1=$(now_ns)
    printf 'position startpos\ngo perft 6\nquit\n' | taskset -c "$cpu" "$stockfish" >/dev/null 2>&1
    t2=$(now_ns)
    echo $(( ((t2 - t1) - (t1 - t0)) / 1000000 ))
}
echo
echo "== perft 6 from the start position (ms)"
if [ ! -x "$stockfish" ]; then
    echo "stockfish missing at $stockfish (apt-get install -y stockfish): Vireo alone"
fi
vireo_runs="" stockfish_runs="" base_perft_runs=""
for ((i = 1; i <= runs; i++)); do
    b=$(perft_ms "$base")
    v=$(perft_ms "$candidate")
    base_perft_runs="$base_perft_runs $b"
    vireo_runs="$vireo_runs $v"
    if [ -x "$stockfish" ]; then
        s=$(stockfish_ms)
        stockfish_runs="$stockfish_runs $s"
        echo "run $i: base $b  candidate $v  stockfish $s"
    else
        echo "run $i: base $b  candidate $v"
    fi
done
base_perft=$(echo "$base_perft_runs" | median)
vireo_perft=$(echo "$vireo_runs" | median)
if [ -x "$stockfish" ]; then
    stockfish_perft=$(echo "$stockfish_runs" | median)
    echo "median: base $base_perft  candidate $vireo_perft  stockfish $stockfish_perft"
    echo "time ratio: candidate / stockfish $(ratio "$vireo_perft" "$stockfish_perft"), base / stockfish $(ratio "$base_perft" "$stockfish_perft")"
else
    echo "median: base $base_perft  candidate $vireo_perft"
fi
