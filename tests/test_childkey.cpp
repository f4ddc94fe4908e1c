// The key of a child computed without making the move equals the key makeMove produces.
#include <gtest/gtest.h>
#include "tests/search_fixture.h"
#include "engine/search/childkey.h"

namespace {
// Checks every move of every position of the tree below curr_ply to the given depth.
int checkTree(int depth) {
    computeAttacks();
    generateMoves(GEN_ALL);
    Ply* ply = curr_ply;
    int checked = 0;
    for (int i = 0; i < ply->generated; i++) {
        Move m = ply->moves[i];
        uint64_t predicted = childKey(ply, m);
        makeMove(m);
        EXPECT_EQ(predicted, curr_ply->key) << uciMoveText(m) << " in " << fenText();
        checked++;
        if (depth > 1) checked += checkTree(depth - 1);
        takeBack();
    }
    return checked;
}
} // namespace

TEST(ChildKey, MatchesMakeMove) {
    std::vector<const char*> fens(std::begin(CLASSIC_FENS), std::end(CLASSIC_FENS));
    fens.push_back("rnbq1k1r/pp1Pbppp/2p5/8/2B5/8/PPP1NnPP/RNBQK2R w KQ - 1 8");
    fens.push_back("4k3/8/8/3pP3/8/8/8/4K3 w - d6 0 1");
    int checked = 0;
    for (const char* fen : fens) {
        setUpSearch(fen);
        checked += checkTree(3);
    }
    EXPECT_GT(checked, 100000);
}
