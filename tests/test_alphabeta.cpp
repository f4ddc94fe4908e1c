// The alpha-beta search's reduction table and its terminal answers.
#include <gtest/gtest.h>
#include "tests/search_fixture.h"
#include "engine/search/score.h"
#include "engine/search/record.h"

namespace {
using AlphaBeta = SearchTest;
} // namespace

// The late-move reductions against published rows of the table (remaining depth r; columns: the
// move's number n = 1, 2, 3, 4, 5, 6, 8, 10, 12, 16, 20, 32, 63), and the shape the search relies
// on: nothing at one ply remaining, never less for a later move or more depth.
TEST_F(AlphaBeta, ReductionTable) {
    const int columns[13] = {1, 2, 3, 4, 5, 6, 8, 10, 12, 16, 20, 32, 63};
    const struct {
        int r;
        int row[13];
    } published[] = {
        {2, {0, 0, 0, 0, 0, 0, 1, 1, 1, 1, 1, 1, 2}},    {3, {0, 0, 0, 1, 1, 1, 1, 1, 2, 2, 2, 2, 3}},
        {4, {0, 0, 1, 1, 1, 1, 2, 2, 2, 2, 3, 3, 4}},    {8, {0, 1, 1, 2, 2, 2, 3, 3, 3, 4, 4, 5, 6}},
        {63, {0, 2, 3, 4, 5, 5, 6, 7, 7, 8, 9, 11, 13}},
    };
    for (const auto& p : published)
        for (int i = 0; i < 13; i++) EXPECT_EQ(reductions[p.r][columns[i]], p.row[i]) << p.r << " " << columns[i];
    for (int r = 0; r < 64; r++)
        for (int n = 0; n < 64; n++) {
            if (r <= 1 || n == 0) {
                EXPECT_EQ(reductions[r][n], 0) << r << " " << n;
            }
            if (r > 0) {
                EXPECT_GE(reductions[r][n], reductions[r - 1][n]) << r << " " << n;
            }
            if (n > 0) {
                EXPECT_GE(reductions[r][n], reductions[r][n - 1]) << r << " " << n;
            }
        }
}

TEST_F(AlphaBeta, MateStalemateAndRepetition) {
    setUpSearch("R5k1/5ppp/8/8/8/8/5PPP/6K1 b - - 0 1");
    EXPECT_EQ(alphaBeta(3, 8, -INFINITE, INFINITE, 1), -29997);
    setUpSearch("7k/5Q2/6K1/8/8/p7/P7/8 b - - 0 1");
    EXPECT_EQ(alphaBeta(3, 8, -INFINITE, INFINITE, 0), 0);
    // The third occurrence inside the path is a draw at once; nothing is searched.
    setUpSearch(START_FEN, "g1f3 g8f6 f3g1 f6g8 g1f3 g8f6 f3g1 f6g8");
    EXPECT_EQ(alphaBeta(1, 5, -INFINITE, INFINITE, 0), 0);
    EXPECT_EQ(search.nodes, 1u);
}
