// A capture search over material alone: whether an exchange is pending in a position, and where
// it ends. fit_model fits only positions where none is pending (--quiet-only); sample_positions
// plays the pending exchange out and labels the quiet position at its end, so both must agree on
// what quiet means. Material is all it counts, so it does not depend on the weights being fitted.
#pragma once

#include <algorithm>
#include <vector>

#include "../engine/board/board.h"
#include "../engine/board/makemove.h"
#include "../engine/board/movegen.h"
#include "../evaluation/endgame.h"

namespace vireo_tools {

// Fail-soft search of captures and promotions, most valuable victim first, from curr_ply down to
// `depth` plies. When `line` is given it receives the moves from curr_ply that the score rests on
// (empty when standing pat is best).
inline int materialSearch(int alpha, int beta, int depth, std::vector<Move>* line = nullptr) {
    if (line) line->clear();
    computeAttacks();
    int stand = materialBalance(curr_ply);
    if (stand >= beta || depth == 0) return stand;
    alpha = std::max(alpha, stand);
    generateMoves(GEN_ALL);
    Move tactical[MAX_MOVES];
    int n = 0;
    for (int i = 0; i < curr_ply->generated; i++) {
        Move m = curr_ply->moves[i];
        if (moveCaptured(m) || movePromotion(m)) tactical[n++] = m;
    }
    std::stable_sort(tactical, tactical + n, [](Move a, Move b) {
        return piece_value[moveCaptured(a)] + piece_value[movePromotion(a)] >
               piece_value[moveCaptured(b)] + piece_value[movePromotion(b)];
    });
    std::vector<Move> below;
    for (int i = 0; i < n; i++) {
        makeMove(tactical[i]);
        int score = -materialSearch(-beta, -alpha, depth - 1, line ? &below : nullptr);
        takeBack();
        if (score > alpha && line) {
            line->assign(1, tactical[i]);
            line->insert(line->end(), below.begin(), below.end());
        }
        if (score >= beta) return score;
        alpha = std::max(alpha, score);
    }
    return alpha;
}

// The position set up as curr_ply (attacks computed, not in check): no capture sequence changes
// the balance.
inline bool isQuiet() {
    int balance = materialBalance(curr_ply);
    return materialSearch(balance - 1, balance + 1, 8) == balance;
}

// Plays the exchange pending in curr_ply to its end: the moves of the capture search's line over
// the full window. Returns how many were made (each one can be taken back).
inline int playOutCaptures() {
    std::vector<Move> line;
    materialSearch(-100000, 100000, 8, &line);
    for (Move m : line) makeMove(m);
    computeAttacks();
    return int(line.size());
}

} // namespace vireo_tools
