// The search record shared by the driver and both searches, the score scale and its text,
// the draw-by-rule test, the clock and input check, and the search output lines.
#pragma once
#include <cstdint>
#include <string>
#include "../board/board.h"

constexpr int MATE = 30000;
constexpr int INFINITE = 60000;
constexpr int MAX_DEPTH = 63;
constexpr int MATE_BOUND = MATE - MAX_DEPTH; // 29937: scores from here on are mates

enum { LIMIT_DEPTH = 0, LIMIT_TIME = 1, LIMIT_CLOCK = 2 };

struct SearchRecord {
    uint32_t limit;
    int32_t depth;
    uint64_t reserve;
    uint64_t movetime;
    int32_t curr_depth;
    int32_t seldepth;
    int32_t score;
    Move bestmove;
    uint32_t stop;
    Move currmove;
    int32_t currmovenumber;
    uint64_t start; // clockMs() when the search began
    uint64_t elapsed;
    uint64_t nodes;
    uint64_t nps;
    uint32_t infinite; // "go infinite": only a line can end it, so the end of input ends it too
    // The time extension: while `extension_allowed` is set, a time check that finds the allotted time
    // used up doubles `movetime` once (only while 4 x movetime <= reserve) instead of stopping, and
    // raises `extended`, after which the driver ends the search with the iteration in progress.
    uint32_t extension_allowed;
    uint32_t extended;
};

extern SearchRecord search;

// When the time check may double the allotted time once instead of stopping. Always (while the
// clock allows it) played best in games at 10s+0.1s; the others stay for building test variants.
enum { EXTEND_NEVER, EXTEND_ALWAYS, EXTEND_WHEN_UNSTABLE };
#ifndef VIREO_EXTEND
#define VIREO_EXTEND EXTEND_ALWAYS
#endif

inline bool isMateScore(int s) { return (s >= MATE_BOUND || s <= -MATE_BOUND) && s != INFINITE && s != -INFINITE; }

// Moves to mate for a mate score: positive when the side to move mates, negative when it is mated.
inline int mateInMoves(int score) { return score > 0 ? (MATE + 1 - score) / 2 : -((score + MATE + 1) / 2); }

// "score mate N " or "score cp N ", with its trailing space.
std::string scoreText(int score);

// Two bare kings, the fifty-move rule, or the third occurrence of the position at curr_ply.
bool drawByRule();

// The clock and input test made every 10,000 nodes; returns search.stop.
void checkTimeNow();
inline uint32_t checkTime() {
    if (search.nodes % 10000 == 0 && search.nodes) checkTimeNow();
    return search.stop;
}

// The principal variation starting with `move`, read from the transposition table: each move
// followed by one space.
std::string pvText(Move move);
void printPV(Move move);

// The line printed after every completed root search.
void printRootInfo(int score, int alpha, int beta);
