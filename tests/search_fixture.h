// Helpers for tests of the search: tables, a small transposition table, and moves by their text.
#pragma once
#include <string>
#include <gtest/gtest.h>
#include "tests/position_fixture.h"
#include "engine/movegen.h"
#include "engine/makemove.h"
#include "engine/ordering.h"
#include "engine/alphabeta.h"
#include "engine/search.h"
#include "transposition/tt.h"

inline void initSearchTables() {
    initTables();
    static bool done = false;
    if (done) return;
    initCentrality();
    initReductions();
    testing::internal::CaptureStdout();
    createTT(1);
    testing::internal::GetCapturedStdout();
    done = true;
}

// Sets up a position with fresh search state.
inline void setUpSearch(const char* fen, const char* moves = nullptr) {
    initSearchTables();
    setUp(fen, moves);
    newGame();
}

// The generated word of a legal move of curr_ply, 0 if there is none with that text.
inline Move findMove(const std::string& text) {
    computeAttacks();
    generateMoves(GEN_ALL);
    for (int i = 0; i < curr_ply->generated; i++)
        if (uciMoveText(curr_ply->moves[i]) == text) return curr_ply->moves[i];
    return 0;
}
