// "bench": four fixed middle-game positions searched to depth 12, and the speed over all of them.
#include <cstdio>
#include "../search/search.h"
#include "../search/clock.h"
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

void benchCommand() {
    uint64_t start = clockMs(), total = 0;
    for (const char* fen : BENCH_POSITIONS) {
        setPosition(fen, nullptr, nullptr);
        newGame();
        printBoard();
        search.limit = LIMIT_DEPTH;
        search.depth = 12;
        think();
        total += search.nodes;
        newGame();
    }
    printSpeedReport(total, clockMs() - start);
}
