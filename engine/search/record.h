// The search record shared by the driver, both searches and the front end: the limits of the
// search in progress, its progress and its result.
#pragma once
#include <cstdint>
#include "../board/board.h"

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

// Nodes per second so far, from the nodes and the elapsed time of the record.
inline void refreshNps() { search.nps = search.elapsed ? search.nodes / search.elapsed * 1000 : 0; }
