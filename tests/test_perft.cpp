#include <gtest/gtest.h>
#include "tests/position_fixture.h"
#include "engine/perft.h"

TEST(Perft, PublishedCounts) {
    struct Case { const char* fen; std::vector<uint64_t> counts; };
    const Case cases[] = {
        {"rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1", {20, 400, 8902, 197281}},
        {"r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1", {48, 2039, 97862, 4085603}},
        {"8/2p5/3p4/KP5r/1R3p1k/8/4P1P1/8 w - - 0 1", {14, 191, 2812, 43238, 674624}},
        {"r3k2r/Pppp1ppp/1b3nbN/nP6/BBP1P3/q4N2/Pp1P2PP/R2Q1RK1 w kq - 0 1", {6, 264, 9467, 422333}},
    };
    for (const Case& c : cases) {
        setUp(c.fen);
        for (size_t n = 1; n <= c.counts.size(); n++) {
            testing::internal::CaptureStdout();
            uint64_t count = perft(0, int(n) - 1);
            testing::internal::GetCapturedStdout();
            EXPECT_EQ(count, c.counts[n - 1]) << c.fen << " depth " << n;
        }
    }
}
