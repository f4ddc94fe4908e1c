// The tablebase root probe: when it applies, the score by win/draw/loss and distance to zeroing,
// and promotions mapped to our piece types.
#include <gtest/gtest.h>
#include "tests/search_fixture.h"
#include "tests/shared_data.h"
#include "engine/search/rootprobe.h"

namespace {
// The tables stay loaded in this process but are used only inside a test of the fixture, which
// switches them off again at its end, so that other tests see the engine without tables.
unsigned loaded_largest = 0;

bool loadTables() {
    static bool tried = false;
    if (!tried) {
        tried = true;
        if (haveSyzygy() && loadTablebases(syzygyDir().c_str())) loaded_largest = tablebase_men;
        tablebase_men = 0;
    }
    tablebase_men = loaded_largest;
    return loaded_largest >= 4;
}

bool probe(const char* fen, Move* move, int* score) {
    setUpSearch(fen);
    computeAttacks();
    generateMoves(GEN_ALL);
    return probeRoot(curr_ply, move, score);
}

using RootProbe = SearchTest;
} // namespace

TEST_F(RootProbe, WithoutTablesNothingIsProbed) {
    Move m = 0;
    int s = 0;
    EXPECT_FALSE(probe("8/8/8/4k3/8/8/8/KQ6 w - - 0 1", &m, &s));
}

TEST_F(RootProbe, MovesScoresAndPromotions) {
    if (!loadTables()) GTEST_SKIP() << "no Syzygy tables in " << syzygyDir();
    Move m = 0;
    int s = 0;
    // Queen against king: a win, 10000 - dtz.
    ASSERT_TRUE(probe("8/8/8/4k3/8/8/8/KQ6 w - - 0 1", &m, &s));
    EXPECT_GT(s, 9900);
    EXPECT_LT(s, 10000);
    EXPECT_TRUE(findMove(uciMoveText(m)));
    // The losing side: dtz - 10000.
    ASSERT_TRUE(probe("8/8/8/4k3/8/8/8/KQ6 b - - 0 1", &m, &s));
    EXPECT_LT(s, -9900);
    EXPECT_GT(s, -10000);
    // A dead draw scores 0.
    ASSERT_TRUE(probe("8/8/8/4k3/8/8/8/KN6 w - - 0 1", &m, &s));
    EXPECT_EQ(s, 0);
    // Promotion to a queen: the word carries QUEEN.
    ASSERT_TRUE(probe("8/4P3/8/8/8/8/k7/4K3 w - - 0 1", &m, &s));
    EXPECT_EQ(uciMoveText(m), "e7e8q");
    EXPECT_EQ(movePromotion(m), QUEEN);
    // Only the knight's fork saves this one.
    ASSERT_TRUE(probe("8/P1r5/1k6/8/8/8/8/K7 w - - 0 1", &m, &s));
    EXPECT_EQ(uciMoveText(m), "a7a8n");
    EXPECT_EQ(movePromotion(m), KNIGHT);
    EXPECT_EQ(s, 0);
    ASSERT_TRUE(probe("1b6/Pk6/8/8/8/8/8/K7 w - - 0 1", &m, &s));
    EXPECT_EQ(uciMoveText(m), "a7b8n");
    EXPECT_EQ(moveCaptured(m), BISHOP);
    // Castling rights left: no probe, even with few pieces.
    EXPECT_FALSE(probe("4k3/8/8/8/8/8/8/R3K3 w Q - 0 1", &m, &s));
    // More men than the tables hold.
    EXPECT_FALSE(probe("4k3/8/8/8/8/8/PPP5/R3K3 w - - 0 1", &m, &s));
}
