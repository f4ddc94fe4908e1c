// Search record, score text, the draw test, the time check and the search's output lines.
#include <cstdio>
#include "record.h"
#include "../../platform/clock.h"
#include "input.h"
#include "../board/makemove.h"
#include "../board/movegen.h"
#include "../board/notation.h"
#include "../../transposition/tt.h"

SearchRecord search;

std::string scoreText(int score) {
    char text[32];
    if (isMateScore(score)) snprintf(text, sizeof text, "score mate %i ", mateInMoves(score));
    else snprintf(text, sizeof text, "score cp %i ", score);
    return text;
}

bool drawByRule() {
    const Ply* ply = curr_ply;
    if (popcount(ply->occupancy) == 2 || ply->halfmove > 99) return true;
    // Walk back while every move was reversible; each earlier record with the same key is a repetition.
    int count = 1;
    for (const Ply* later = ply; later > plies && (later - 1)->halfmove < later->halfmove; later--)
        if ((later - 1)->key == ply->key && ++count == 3) return true;
    return false;
}

namespace {
void refreshNps() { search.nps = search.elapsed ? search.nodes / search.elapsed * 1000 : 0; }
} // namespace

void checkTimeNow() {
    search.elapsed = clockMs() - search.start;
    if (search.limit != LIMIT_DEPTH && search.elapsed >= search.movetime) {
        if (search.extension_allowed && !search.extended && 4 * search.movetime <= search.reserve) {
            search.movetime *= 2;
            search.extended = 1;
        } else {
            search.stop = 1;
        }
    }
    // Any line at all ends the search; the command loop reads it afterwards.
    if (inputWaiting()) search.stop = 1;
    // A search that waits for "stop" cannot get one once input has ended (a GUI that crashed).
    else if (search.infinite && inputEnded()) search.stop = 1;
    if (search.nodes % 2000000 == 0) {
        refreshNps();
        printf("info depth %i currmove %s currmovenumber %i time %llu nodes %llu nps %llu hashfull %i\n",
               search.curr_depth, uciMoveText(search.currmove).c_str(), search.currmovenumber,
               (unsigned long long)search.elapsed, (unsigned long long)search.nodes, (unsigned long long)search.nps,
               int(hashfull()));
    }
}

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
