// The alpha-beta search's tables and its terminal answers.
#include <gtest/gtest.h>
#include "tests/search_fixture.h"
#include "engine/search/record.h"

TEST(AlphaBeta, ReductionTable) {
    initSearchTables();
    const int columns[13] = {1, 2, 3, 4, 5, 6, 8, 10, 12, 16, 20, 32, 63};
    const int rows[5][14] = {
        {2, 0, 0, 0, 0, 0, 0, 1, 1, 1, 1, 1, 1, 2},
        {3, 0, 0, 0, 1, 1, 1, 1, 1, 2, 2, 2, 2, 3},
        {4, 0, 0, 1, 1, 1, 1, 2, 2, 2, 2, 3, 3, 4},
        {8, 0, 1, 1, 2, 2, 2, 3, 3, 3, 4, 4, 5, 6},
        {63, 0, 2, 3, 4, 5, 5, 6, 7, 7, 8, 9, 11, 13},
    };
    for (const auto& row : rows)
        for (int k = 0; k < 13; k++) EXPECT_EQ(reductions[row[0]][columns[k]], row[k + 1]) << row[0] << " " << columns[k];
    for (int n = 0; n < 64; n++) {
        EXPECT_EQ(reductions[1][n], 0);
        EXPECT_EQ(reductions[0][n], 0);
        EXPECT_EQ(reductions[n][0], 0);
    }
}

TEST(AlphaBeta, MateStalemateAndRepetition) {
    setUpSearch("R5k1/5ppp/8/8/8/8/5PPP/6K1 b - - 0 1");
    EXPECT_EQ(alphaBeta(3, 8, -INFINITE, INFINITE, 1), -29997);
    setUpSearch("7k/5Q2/6K1/8/8/p7/P7/8 b - - 0 1");
    EXPECT_EQ(alphaBeta(3, 8, -INFINITE, INFINITE, 0), 0);
    // The third occurrence inside the path is a draw at once; nothing is searched.
    setUpSearch(START_FEN, "g1f3 g8f6 f3g1 f6g8 g1f3 g8f6 f3g1 f6g8");
    EXPECT_EQ(alphaBeta(1, 5, -INFINITE, INFINITE, 0), 0);
    EXPECT_EQ(search.nodes, 1u);
    resetSearch();
}
