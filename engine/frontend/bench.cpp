// "bench": four fixed middle-game positions searched to depth 12, and the speed over all of them.
#include <cstdio>
#include "../search/search.h"
#include "../../platform/clock.h"
#include "../board/notation.h"
#include "frontend.h"
#include "../search/record.h"
#include "../search/think.h"

namespace {
const char* const BENCH_POSITIONS[4] = {
    "2r1k2r/pq1p1ppp/1pbPpn2/8/2P2B2/P2B1P2/1PQ3PP/R3K2R b KQk - 2 16",
    "1n1q1rk1/r3ppbp/p1p3p1/1p3b2/P1pP3B/1NP1PB2/5PPP/R2QR1K1 w - - 10 16",
    "r2q2k1/pb3pp1/1p3n1p/2bpr3/8/2NBP3/PPQB1PPP/2RR2K1 w - - 0 16",
    "r5k1/p2qp1bp/6p1/1pP3P1/2n1P3/1QP1B3/P3N1PP/R4K2 b - - 0 17",
};
} // namespace

namespace {
// Searches the bench positions in order, each after its diagram when asked, and returns the total
// of their nodes. Each starts from cleared tables, so that its count does not depend on the others.
uint64_t searchBenchPositions(bool diagrams) {
    uint64_t total = 0;
    for (int i = 0; i < 4; i++) {
        setPosition(BENCH_POSITIONS[i], nullptr, nullptr);
        newGame();
        if (diagrams) printBoard();
        else printf("Position %i/4: %s\n", i + 1, BENCH_POSITIONS[i]);
        search.limit = LIMIT_DEPTH;
        search.depth = 12;
        think();
        total += search.nodes;
        newGame();
    }
    return total;
}
} // namespace

void benchCommand() {
    uint64_t start = clockMs();
    uint64_t total = searchBenchPositions(true);
    printSpeedReport(total, clockMs() - start);
}

// Testing frameworks run "vireo bench" and read its output as text: OpenBench's worker decodes it
// as UTF-8 (the diagrams' code-page-437 bytes are not) and takes the node count and the speed from
// the last lines that carry "nodes" and "nps" or "nodes second". So this prints plain ASCII and
// ends in the form of other engines' benches, with the node count on its own line.
void commandLineBench() {
    uint64_t start = clockMs();
    uint64_t total = searchBenchPositions(false);
    uint64_t ms = clockMs() - start;
    printf("\n===========================\n");
    printf("Total time (ms) : %llu\n", (unsigned long long)ms);
    printf("Nodes searched  : %llu\n", (unsigned long long)total);
    printf("Nodes/second    : %llu\n", (unsigned long long)speedOf(total, ms));
}
