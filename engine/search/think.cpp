// Iterative deepening with aspiration bounds around the previous exact score.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include "think.h"
#include "alphabeta.h"
#include "../../platform/clock.h"
#include "../board/movegen.h"
#include "../board/notation.h"
#include "score.h"
#include "draw.h"
#include "record.h"
#include "rootprobe.h"
#include "../../transposition/tt.h"

namespace {
// Aspiration: from the third iteration on, a search looks this many centipawns either side of the
// previous exact score; each consecutive failure re-centres the window on the failing score and
// widens it by as much again, until the window opens fully after a thousand failures in a row.
constexpr int ASPIRATION_WIDTH = 10;
constexpr int FAILURES_BEFORE_FULL_WINDOW = 1000;

// Half the width of the window after this many consecutive failures.
int aspirationHalfWidth(int failures) {
    return failures < FAILURES_BEFORE_FULL_WINDOW ? ASPIRATION_WIDTH * failures : 2 * INFINITE;
}

// A new depth: whether the time check may double the allotted time during it.
void startIteration() {
    search.extension_allowed = VIREO_EXTEND == EXTEND_ALWAYS;
    search.extended = 0;
}

void printFinalLines() {
    if (isMateScore(search.score)) printf("info string Mate in %i half-moves !\n", MATE - std::abs(search.score));
    printf("info %s\n", scoreText(search.score).c_str());
    // Stopped before the first root move completed: the first move in search order still beats no move.
    Move move = search.bestmove ? search.bestmove : curr_ply->moves[0];
    printf("bestmove %s\n", uciMoveText(move).c_str());
}
} // namespace

void think() {
    search.start = clockMs();
    if (drawByRule()) {
        printf("info string Game over (draw) !\nbestmove 0000\n");
        return;
    }
    Ply* root = curr_ply;
    computeAttacks();
    generateMoves(GEN_ALL);
    uint32_t in_check = root->player->attacks->checkers != 0;
    if (!root->generated) {
        printf("info string Game over (%s) !\nbestmove 0000\n", in_check ? "mate" : "pat");
        return;
    }
    if (root->generated == 1 && search.limit == LIMIT_CLOCK) {
        printf("bestmove %s\n", uciMoveText(root->moves[0]).c_str());
        return;
    }
    if (probeRoot(root, &search.bestmove, &search.score)) {
        printFinalLines();
        return;
    }

    setRootPieces(popcount(root->occupancy));
    search.curr_depth = 1;
    search.seldepth = 1;
    int score = alphaBeta(0, 1, -INFINITE, INFINITE, in_check);
    int last = score; // the previous exact result; 0 after a failed search
    search.curr_depth = 2;
    int alpha = -INFINITE, beta = INFINITE, failures = 0;
    startIteration();
    for (;;) {
        if (isMateScore(last)) break;
        if (search.limit == LIMIT_DEPTH && search.curr_depth > search.depth) break;
        search.seldepth = search.curr_depth;
        score = alphaBeta(0, search.curr_depth, alpha, beta, in_check);
        if (search.stop) break;
        if (score <= alpha || score >= beta) {
            failures++;
            // A failed window means the score moved: a reason to think longer.
            if (VIREO_EXTEND == EXTEND_WHEN_UNSTABLE) search.extension_allowed = 1;
            last = 0;
            alpha = std::max(score - aspirationHalfWidth(failures), -INFINITE);
            beta = std::min(score + aspirationHalfWidth(failures), INFINITE);
        } else {
            last = score;
            search.curr_depth++;
            alpha = std::max(score, -INFINITE + ASPIRATION_WIDTH) - ASPIRATION_WIDTH;
            beta = std::min(score, INFINITE - ASPIRATION_WIDTH) + ASPIRATION_WIDTH;
            failures = 0;
            // The allotted time was doubled during this iteration: it has had its extra time.
            if (search.extended) break;
            startIteration();
            search.elapsed = clockMs() - search.start;
            // Another iteration takes longer than all before it together: do not start one past half time.
            if (search.limit == LIMIT_CLOCK && 2 * search.elapsed > search.movetime) break;
        }
        if (search.curr_depth > MAX_DEPTH) break;
    }
    printFinalLines();
}
