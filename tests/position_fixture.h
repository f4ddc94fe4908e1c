// Engine tables set up once per test binary, and a one-call position set-up for tests.
#pragma once
#include <string>
#include <gtest/gtest.h>
#include "engine/board.h"
#include "engine/notation.h"
#include "sliders/sliders.h"

inline void initTables() {
    static bool done = false;
    if (done) return;
    initColours();
    initSliders();
    done = true;
}

// Sets up a FEN (optionally followed by moves) and fails the test if it is rejected.
inline void setUp(const char* fen, const char* moves = nullptr) {
    initTables();
    std::string reason;
    ASSERT_TRUE(setPosition(fen, moves, &reason)) << fen << ": " << reason;
}
