#!/bin/bash
# The bench of every release build beside the developers' Linux build, on one core: the node count
# of each (one number for all is the point) and its median speed over RUNS runs, as a ratio of the
# Linux build's. The Windows engines run under Wine, the ARM64 one under qemu (its speed there says
# nothing of a real ARM64 processor). The figures are printed, never checked.
#
#   bench/platforms.sh [DIST [NATIVE]]     (defaults: dist/ from "make release", build/vireo)
#
# Environment: RUNS (3), CPU (the core to run on: 0), WINEPREFIX (/tmp/vireo-wine).
set -eu

root=$(cd "$(dirname "$0")/.." && pwd)
dist=${1:-$root/dist}
native=${2:-$root/build/vireo}
runs=${RUNS:-3}
cpu=${CPU:-0}
export WINEPREFIX=${WINEPREFIX:-/tmp/vireo-wine} WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml="

median() { tr ' ' '\n' | grep . | sort -n | awk '{ v[NR] = $1 } END { print NR % 2 ? v[(NR + 1) / 2] : (v[NR / 2] + v[NR / 2 + 1]) / 2 }'; }

# "NODES SPEED" of one command-line bench.
bench() {
    local out
    case "$1" in
        *.exe) out=$(taskset -c "$cpu" wine "$1" bench </dev/null 2>/dev/null) ;;
        *aarch64) out=$(taskset -c "$cpu" qemu-aarch64 "$1" bench </dev/null) ;;
        *) out=$(taskset -c "$cpu" "$1" bench </dev/null) ;;
    esac
    echo "$(sed -n 's/^Nodes searched  : //p' <<<"$out") $(sed -n 's/^Nodes\/second    : //p' <<<"$out")"
}

[ -x "$native" ] || { echo "no engine at $native: build it first" >&2; exit 1; }
wineserver -p60 2>/dev/null || true
base=""
printf '%-40s %10s %12s %7s\n' build nodes nodes/s ratio
for engine in "$native" "$dist"/vireo-*; do
    [ -f "$engine" ] || continue
    speeds="" nodes=""
    for _ in $(seq "$runs"); do
        read -r n s < <(bench "$engine")
        nodes=$n speeds="$speeds $s"
    done
    speed=$(median <<<"$speeds")
    [ -z "$base" ] && base=$speed
    printf '%-40s %10s %12s %7s\n' "$(basename "$engine")" "$nodes" "$speed" \
        "$(awk -v a="$speed" -v b="$base" 'BEGIN { printf "%.3f", a / b }')"
done
wineserver -k 2>/dev/null || true
