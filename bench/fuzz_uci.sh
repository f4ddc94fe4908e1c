#!/bin/bash
# Random UCI input (build/fuzz_uci) into the engine built with the sanitizers, in batches, each batch
# a fresh engine in a scratch folder. Among the tablebase paths are the shared tables, paths with
# empty parts and a copy of the tables whose KQvK.rtbw has random bytes after its magic number.
# Counts the sanitizer reports, the engines that did not end with status 0 and the batches that
# hung; prints the first report in full.
#
#   bench/fuzz_uci.sh [ENGINE]     ENGINE defaults to build-sanitize/vireo
#
# Environment: LINES (12000 in all), BATCH (400 lines), SEED (1), TABLES (../shared/syzygy).
# Build first: cmake -S . -B build-sanitize -DVIREO_SANITIZE=ON && cmake --build build-sanitize -j2 --target vireo
# and cmake --build build --target fuzz_uci.
set -u

root=$(cd "$(dirname "$0")/.." && pwd)
engine=${1:-$root/build-sanitize/vireo}
generator=$root/build/fuzz_uci
lines=${LINES:-12000}
batch=${BATCH:-400}
seed=${SEED:-1}
tables=${TABLES:-$(cd "$root/.." && pwd)/shared/syzygy}
[ -x "$engine" ] || { echo "no engine at $engine (build it first)" >&2; exit 1; }
engine=$(realpath "$engine") # each batch runs in the scratch folder
[ -x "$generator" ] || { echo "no generator at $generator (build it first)" >&2; exit 1; }

scratch=$(mktemp -d /tmp/vireo_fuzz_XXXXXX)
trap 'rm -rf "$scratch"' EXIT
damaged=""
if [ -f "$tables/KQvK.rtbw" ]; then
    damaged=$scratch/damaged
    mkdir "$damaged"
    cp "$tables"/* "$damaged"/
    size=$(stat -c %s "$damaged/KQvK.rtbw")
    { head -c 4 "$tables/KQvK.rtbw"; head -c $((size - 4)) /dev/urandom; } > "$damaged/KQvK.rtbw"
else
    echo "no tables in $tables: the tablebase paths are only the hopeless ones" >&2
    tables=""
fi

export ASAN_OPTIONS=${ASAN_OPTIONS:-abort_on_error=0:detect_leaks=1}
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-print_stacktrace=1}
sent=0 batches=0 reports=0 failures=0 hangs=0 first=""
start=$(date +%s)
while [ $sent -lt $lines ]; do
    n=$((lines - sent < batch ? lines - sent : batch))
    "$generator" --seed $((seed + batches)) --lines $n --tables "$tables" --damaged "$damaged" > "$scratch/in"
    (cd "$scratch" && timeout 600 "$engine" < in > out 2> err)
    status=$?
    found=$(grep -c -E 'ERROR: (Address|Leak)Sanitizer|runtime error:' "$scratch/err")
    reports=$((reports + found))
    [ $status -eq 124 ] && hangs=$((hangs + 1))
    if [ $status -ne 0 ] || [ "$found" -gt 0 ]; then
        failures=$((failures + 1))
        if [ -z "$first" ]; then
            first="batch $batches (seed $((seed + batches))), status $status"
            cp "$scratch/in" "$root/fuzz_failure_input.txt"
            echo "--- $first: stderr follows, input kept in fuzz_failure_input.txt" >&2
            head -60 "$scratch/err" >&2
        fi
    fi
    sent=$((sent + n))
    batches=$((batches + 1))
done
echo "$sent UCI lines in $batches batches, $(( $(date +%s) - start )) s:" \
     "$reports sanitizer reports, $failures engines with a report or a status other than 0, $hangs hung"
[ $failures -eq 0 ]
