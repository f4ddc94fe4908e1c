#include <gtest/gtest.h>
#include "tests/position_fixture.h"
#include "engine/board/perft.h"

TEST(Perft, PublishedCounts) {
    // The published counts of the classic positions, in their order, from depth 1.
    const std::vector<uint64_t> counts[4] = {
        {20, 400, 8902, 197281},
        {48, 2039, 97862, 4085603},
        {14, 191, 2812, 43238, 674624},
        {6, 264, 9467, 422333},
    };
    for (int i = 0; i < 4; i++) {
        const char* fen = CLASSIC_FENS[i];
        setUp(fen);
        for (size_t n = 1; n <= counts[i].size(); n++) {
            uint64_t count = 0;
            printedBy([&] { count = perft(0, int(n) - 1); });
            EXPECT_EQ(count, counts[i][n - 1]) << fen << " depth " << n;
        }
    }
}
