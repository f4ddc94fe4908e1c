// Counting move paths. The last level is counted by the generator without being played,
// which is valid because only legal moves are generated.
#include <cstdio>
#include "perft.h"
#include "board.h"
#include "movegen.h"
#include "makemove.h"
#include "notation.h"

uint64_t perft(int depth, int target) {
    computeAttacks();
    // The last level needs only the number of moves, not the moves.
    if (depth == target && depth > 0) return uint64_t(countMoves());
    generateMoves(GEN_ALL);
    Ply* ply = curr_ply;
    if (depth == target) {
        for (int i = 0; i < ply->generated; i++) printf("%s ", uciMoveText(ply->moves[i]).c_str());
        printf("\n");
        return ply->generated;
    }
    uint64_t total = 0;
    for (int i = 0; i < ply->generated; i++) {
        makeMove(ply->moves[i]);
        uint64_t n = perft(depth + 1, target);
        if (depth == 0) printf("%s: %llu\n", uciMoveText(ply->moves[i]).c_str(), (unsigned long long)n);
        takeBack();
        total += n;
    }
    return total;
}
