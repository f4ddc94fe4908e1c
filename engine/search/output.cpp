// The principal variation and the root search's info line.
#include <cstdio>
#include "output.h"
#include "draw.h"
#include "record.h"
#include "score.h"
#include "../board/makemove.h"
#include "../board/movegen.h"
#include "../board/notation.h"
#include "../../platform/clock.h"
#include "../../transposition/tt.h"

namespace {
// A table move is played only if it is one of the legal moves: a key collision must not
// put a foreign move on the stack.
bool isLegalHere(Move move) {
    computeAttacks();
    generateMoves(GEN_ALL);
    for (int i = 0; i < curr_ply->generated; i++)
        if (unmarked(curr_ply->moves[i]) == unmarked(move)) return true;
    return false;
}

void appendPV(std::string& text, Move move) {
    if (drawByRule() || !move || ply_index >= MAX_PLIES - 2) return;
    text += uciMoveText(move);
    text += ' ';
    makeMove(move);
    Move next = probeMove(curr_ply->key);
    if (next && isLegalHere(next)) appendPV(text, next);
    takeBack();
}
} // namespace

std::string pvText(Move move) {
    std::string text;
    appendPV(text, move);
    return text;
}

void printPV(Move move) { fputs(pvText(move).c_str(), stdout); }

void printRootInfo(int score, int alpha, int beta) {
    search.elapsed = clockMs() - search.start;
    refreshNps();
    std::string line = "info depth " + std::to_string(search.curr_depth) + " seldepth " +
                       std::to_string(search.seldepth) + " " + scoreText(score);
    if (score >= beta) line += "lowerbound ";
    else if (score <= alpha) line += "upperbound ";
    line += "pv " + pvText(search.bestmove);
    char tail[160];
    snprintf(tail, sizeof tail, "time %llu nodes %llu nps %llu hashfull %i\n", (unsigned long long)search.elapsed,
             (unsigned long long)search.nodes, (unsigned long long)search.nps, int(hashfull()));
    line += tail;
    fputs(line.c_str(), stdout);
}
