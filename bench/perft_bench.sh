#!/bin/sh
# Perft speed of Vireo beside stockfish's "go perft" on the same positions, one thread each.
#   bench/perft_bench.sh [path/to/vireo] [path/to/stockfish]
vireo=${1:-build/vireo}
stockfish=${2:-/usr/games/stockfish}

now() { date +%s%N; }

# Wall time in ms of one engine run fed the given commands, minus its start-up and shut-down time.
run_ms() {
    engine=$1; commands=$2
    t0=$(now); printf 'quit\n' | "$engine" >/dev/null 2>&1; t1=$(now)
    printf '%s\nquit\n' "$commands" | "$engine" >/tmp/perft_bench.$$ 2>&1; t2=$(now)
    echo $(( ( (t2 - t1) - (t1 - t0) ) / 1000000 ))
}

bench() {
    name=$1; fen=$2; depth=$3
    # Vireo's own report times the count alone.
    printf 'position fen %s\nperft %d\nquit\n' "$fen" "$depth" | "$vireo" >/tmp/perft_bench.$$ 2>&1
    nodes=$(sed -n 's/^\([0-9]*\) nodes in.*/\1/p' /tmp/perft_bench.$$)
    ms=$(sed -n 's/^[0-9]* nodes in \([0-9]*\) ms.*/\1/p' /tmp/perft_bench.$$)
    sms=$(run_ms "$stockfish" "setoption name Threads value 1
position fen $fen
go perft $depth")
    snodes=$(sed -n 's/^Nodes searched: //p' /tmp/perft_bench.$$)
    [ "$nodes" = "$snodes" ] || echo "count mismatch: vireo $nodes, stockfish $snodes"
    vnps=$(( nodes * 1000 / (ms > 0 ? ms : 1) ))
    snps=$(( snodes * 1000 / (sms > 0 ? sms : 1) ))
    printf '%-10s depth %d  %12s nodes  vireo %6d ms %11d nodes/s  stockfish %6d ms %11d nodes/s  ratio %s\n' \
        "$name" "$depth" "$nodes" "$ms" "$vnps" "$sms" "$snps" \
        "$(awk -v a="$vnps" -v b="$snps" 'BEGIN { printf "%.2f", b ? a / b : 0 }')"
}

bench startpos "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1" 6
bench kiwipete "r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1" 5
rm -f /tmp/perft_bench.$$
