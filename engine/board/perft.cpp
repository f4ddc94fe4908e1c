// Counting move paths. The last level is counted from the generator's list without being played,
// which is valid because only legal moves are generated.
#include <cstdio>
#include "perft.h"
#include "board.h"
#include "movegen.h"
#include "makemove.h"
#include "notation.h"
#include "../search/clock.h"
#include "../search/search.h"

// Deeper counts would not fit on the ply stack beside the game history.
constexpr int MAX_PERFT_DEPTH = 64;

uint64_t perft(int depth, int target) {
    computeAttacks();
    generateMoves(GEN_ALL);
    Ply* ply = curr_ply;
    if (depth == target) {
        if (depth == 0) {
            for (int i = 0; i < ply->generated; i++) printf("%s ", uciMoveText(ply->moves[i]).c_str());
            printf("\n");
        }
        return ply->generated;
    }
    uint64_t total = 0;
    for (int i = 0; i < ply->generated; i++) {
        makeMoveWithoutPrefetch(ply->moves[i]);
        uint64_t n = perft(depth + 1, target);
        if (depth == 0) printf("%s: %llu\n", uciMoveText(ply->moves[i]).c_str(), (unsigned long long)n);
        takeBack();
        total += n;
    }
    return total;
}

void printSpeedReport(uint64_t nodes, uint64_t ms) {
    uint64_t speed = ms ? nodes / ms * 1000 : 0;
    printf("%llu nodes in %llu ms, speed = %llu nodes/s\n", (unsigned long long)nodes, (unsigned long long)ms,
           (unsigned long long)speed);
}

void perftCommand(const char* line) {
    int depth = 1;
    if (sscanf(line, "perft %i", &depth) == 1 && depth > MAX_PERFT_DEPTH) {
        printf("info string Invalid perft depth\n");
        return;
    }
    if (depth < 1) depth = 1;
    uint64_t start = clockMs();
    uint64_t nodes = perft(0, depth - 1);
    printSpeedReport(nodes, clockMs() - start);
    newGame();
}
