// Engine tables set up once per test binary, a one-call position set-up, moves by their text,
// the classic perft positions and a capture of what a call prints.
#pragma once
#include <string>
#include <gtest/gtest.h>
#include "engine/board/board.h"
#include "engine/board/movegen.h"
#include "engine/board/notation.h"
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

// The generated word of a legal move of curr_ply, 0 if there is none with that text.
inline Move findMove(const std::string& text) {
    computeAttacks();
    generateMoves(GEN_ALL);
    for (int i = 0; i < curr_ply->generated; i++)
        if (uciMoveText(curr_ply->moves[i]) == text) return curr_ply->moves[i];
    return 0;
}

// The four classic perft positions: the start, "Kiwipete" (castling, pins, en passant), a rook
// and pawn ending with en passant checks, and a position full of promotions.
inline const char* const CLASSIC_FENS[4] = {
    START_FEN,
    "r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1",
    "8/2p5/3p4/KP5r/1R3p1k/8/4P1P1/8 w - - 0 1",
    "r3k2r/Pppp1ppp/1b3nbN/nP6/BBP1P3/q4N2/Pp1P2PP/R2Q1RK1 w kq - 0 1",
};

// What a call prints on standard output.
template <class Call>
std::string printedBy(Call&& call) {
    testing::internal::CaptureStdout();
    call();
    return testing::internal::GetCapturedStdout();
}
