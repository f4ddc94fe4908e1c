// The quiescence search's exchange test and its mate and stand-pat answers.
#include <gtest/gtest.h>
#include "tests/search_fixture.h"
#include "engine/search/quiescence.h"
#include "engine/search/score.h"

namespace {
bool loses(const char* fen, const char* move) {
    setUpSearch(fen);
    Move m = findMove(move);
    EXPECT_TRUE(m) << move;
    return exchangeLoses(m);
}
} // namespace

using Quiescence = SearchTest;

TEST_F(Quiescence, ExchangeTest) {
    // Queen takes a pawn defended by a pawn.
    EXPECT_TRUE(loses("4k3/8/4p3/3p4/8/8/8/3QK3 w - - 0 1", "d1d5"));
    // Rook takes a knight defended by a pawn, with a second rook behind: 300, -200, -100.
    EXPECT_TRUE(loses("4k3/8/4p3/3n4/8/8/3R4/3RK3 w - - 0 1", "d2d5"));
    // Undefended: no loss.
    EXPECT_FALSE(loses("4k3/8/8/3n4/8/8/3R4/3RK3 w - - 0 1", "d2d5"));
    // Defended by a rook, with two rooks of ours behind each other: 300, -200, then +300 for us.
    EXPECT_FALSE(loses("3rk3/8/8/3n4/8/8/3R4/3RK3 w - - 0 1", "d2d5"));
    // The defender's slider is blocked: it does not count.
    EXPECT_FALSE(loses("3rk3/3b4/8/3n4/8/8/3R4/3RK3 w - - 0 1", "d2d5"));
    // A king next to the target square: no test, no loss.
    EXPECT_FALSE(loses("8/8/2k1p3/3p4/8/8/8/3QK3 w - - 0 1", "d1d5"));
    // A pinned defender: the test answers no loss (here the pawn on e6 cannot leave the file).
    EXPECT_FALSE(loses("4k3/8/4p3/3p4/8/8/8/K2QR3 w - - 0 1", "d1d5"));
    // A position with an en-passant square is never tested.
    EXPECT_FALSE(loses("4k3/8/4p3/p2p4/8/8/8/3QK3 w - a6 0 1", "d1d5"));
    // A pawn attacking a last-rank target: no test.
    EXPECT_FALSE(loses("3r3k/1n2P3/8/8/8/8/8/3QK3 w - - 0 1", "d1d8"));
    EXPECT_TRUE(loses("3r3k/1n6/8/8/8/8/8/3QK3 w - - 0 1", "d1d8"));
}

TEST_F(Quiescence, MateAndStandPat) {
    // Black is checkmated (back rank) at ply 5.
    setUpSearch("R5k1/5ppp/8/8/8/8/5PPP/6K1 b - - 0 1");
    EXPECT_EQ(quiescence(5, 5, -INFINITE, INFINITE, 1), -29995);
    EXPECT_EQ(transposition.used, 0u); // nothing stored
}
