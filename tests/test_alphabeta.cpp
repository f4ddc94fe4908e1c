// The alpha-beta search's tables and its terminal answers.
#include <gtest/gtest.h>
#include <cmath>
#include "tests/search_fixture.h"
#include "engine/search/record.h"

TEST(AlphaBeta, ReductionTable) {
    initSearchTables();
    // Recomputed in extended precision from ln(n) ln(r) / 1.3: no entry comes within 1e-3 of a
    // whole number, so the double arithmetic of the table cannot round one across.
    for (int r = 0; r < 64; r++)
        for (int n = 0; n < 64; n++) {
            long double exact = r && n ? std::log((long double)n) * std::log((long double)r) / 1.3L : 0;
            EXPECT_EQ(reductions[r][n], int(std::floor(exact))) << r << " " << n;
        }
    // What the search relies on: nothing at one ply remaining, never less for a later move or
    // more depth, and at most 13 plies.
    for (int r = 1; r < 64; r++)
        for (int n = 1; n < 64; n++) {
            EXPECT_GE(reductions[r][n], reductions[r - 1][n]) << r << " " << n;
            EXPECT_GE(reductions[r][n], reductions[r][n - 1]) << r << " " << n;
        }
    EXPECT_EQ(reductions[1][63], 0);
    EXPECT_EQ(reductions[63][63], 13);
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
