// "perft [N]": the move paths of length N from the current position, with the time they took.
#include <cstdio>
#include "frontend.h"
#include "../board/perft.h"
#include "../../platform/clock.h"
#include "../search/search.h"

// Deeper counts would not fit on the ply stack beside the game history.
constexpr int MAX_PERFT_DEPTH = 64;

uint64_t speedOf(uint64_t nodes, uint64_t ms) { return ms ? nodes / ms * 1000 : 0; }

void printSpeedReport(uint64_t nodes, uint64_t ms) {
    uint64_t speed = speedOf(nodes, ms);
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
