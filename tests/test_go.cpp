// Limits read from "go" lines: the order of the rules and the clock allocation.
#include <gtest/gtest.h>
#include "tests/search_fixture.h"
#include "engine/frontend/go.h"
#include "engine/search/record.h"

namespace {
const char* const WHITE_TO_MOVE = START_FEN;
const char* const BLACK_TO_MOVE = "rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR b KQkq - 0 1";

struct Limits {
    uint32_t limit;
    int depth;
    uint64_t reserve, movetime;
    bool operator==(const Limits&) const = default;
};

Limits limitsOf(const char* fen, const char* line) {
    setUpSearch(fen);
    search.depth = 99; // whatever was there before is replaced
    setLimits(line);
    return Limits{search.limit, search.depth, search.reserve, search.movetime};
}

std::ostream& operator<<(std::ostream& os, const Limits& l) {
    return os << "{" << l.limit << ", " << l.depth << ", " << l.reserve << ", " << l.movetime << "}";
}

using Go = SearchTest;
} // namespace

TEST_F(Go, RulesInOrder) {
    EXPECT_EQ(limitsOf(WHITE_TO_MOVE, "go"), (Limits{LIMIT_DEPTH, 10, 0, 0}));
    EXPECT_EQ(limitsOf(WHITE_TO_MOVE, "go infinite"), (Limits{LIMIT_TIME, 0, 0, 1000000000}));
    EXPECT_EQ(limitsOf(WHITE_TO_MOVE, "go depth 6"), (Limits{LIMIT_DEPTH, 6, 0, 0}));
    EXPECT_EQ(limitsOf(WHITE_TO_MOVE, "go depth 6 movetime 100"), (Limits{LIMIT_DEPTH, 6, 0, 0}));
    EXPECT_EQ(limitsOf(WHITE_TO_MOVE, "go movetime 500"), (Limits{LIMIT_TIME, 0, 0, 500}));
    EXPECT_EQ(limitsOf(WHITE_TO_MOVE, "go movetime -5"), (Limits{LIMIT_TIME, 0, 0, 0}));
    // Unknown parameters only: the clock rule with nothing on the clock.
    EXPECT_EQ(limitsOf(WHITE_TO_MOVE, "go nodes 1000"), (Limits{LIMIT_CLOCK, 0, 0, 0}));
    EXPECT_EQ(limitsOf(WHITE_TO_MOVE, "ergo"), (Limits{LIMIT_CLOCK, 0, 0, 0}));
    EXPECT_EQ(limitsOf(WHITE_TO_MOVE, "go depth x"), (Limits{LIMIT_CLOCK, 0, 0, 0}));
}

TEST_F(Go, ClockAllocation) {
    EXPECT_EQ(limitsOf(WHITE_TO_MOVE, "go wtime 60000 btime 50000 winc 1000 binc 1000"),
              (Limits{LIMIT_CLOCK, 0, 59000, 2450}));
    // Black to move spends Black's clock and increment.
    EXPECT_EQ(limitsOf(BLACK_TO_MOVE, "go wtime 60000 btime 50000 winc 1000 binc 2000"),
              (Limits{LIMIT_CLOCK, 0, 49000, 3200}));
    EXPECT_EQ(limitsOf(BLACK_TO_MOVE, "go btime 800"), (Limits{LIMIT_CLOCK, 0, 0, 0}));
    // One move to go would spend the whole reserve: half of what is left beyond 50 ms is the most.
    EXPECT_EQ(limitsOf(WHITE_TO_MOVE, "go wtime 10000 movestogo 1"), (Limits{LIMIT_CLOCK, 0, 9000, 4975}));
    EXPECT_EQ(limitsOf(WHITE_TO_MOVE, "go wtime 100000 btime 100000 movestogo 0"),
              (Limits{LIMIT_CLOCK, 0, 99000, 49975}));
    EXPECT_EQ(limitsOf(WHITE_TO_MOVE, "go wtime 1000 btime 1000"), (Limits{LIMIT_CLOCK, 0, 0, 0}));
    EXPECT_EQ(limitsOf(WHITE_TO_MOVE, "go ponder wtime 30000 btime 30000"), (Limits{LIMIT_CLOCK, 0, 29000, 700}));
    // Negative values count as 0; a value that cannot be read too.
    EXPECT_EQ(limitsOf(WHITE_TO_MOVE, "go wtime -50 btime 5000 winc -10"), (Limits{LIMIT_CLOCK, 0, 0, 0}));
    EXPECT_EQ(limitsOf(WHITE_TO_MOVE, "go wtime 41000 winc x"), (Limits{LIMIT_CLOCK, 0, 40000, 975}));
    EXPECT_EQ(limitsOf(WHITE_TO_MOVE, "go wtime 41000 movestogo x"), (Limits{LIMIT_CLOCK, 0, 40000, 975}));
    // The increment arrives only after the move: a clock below it caps the time at half of the
    // clock beyond 50 ms.
    EXPECT_EQ(limitsOf(WHITE_TO_MOVE, "go winc 3000"), (Limits{LIMIT_CLOCK, 0, 0, 0}));
    EXPECT_EQ(limitsOf(WHITE_TO_MOVE, "go wtime 10 btime 10 winc 1000 binc 1000"), (Limits{LIMIT_CLOCK, 0, 0, 0}));
    EXPECT_EQ(limitsOf(BLACK_TO_MOVE, "go wtime 60000 btime 450 winc 100 binc 1000"), (Limits{LIMIT_CLOCK, 0, 0, 200}));
    EXPECT_EQ(limitsOf(WHITE_TO_MOVE, "go wtime 1200 btime 1200 winc 2000 binc 2000"),
              (Limits{LIMIT_CLOCK, 0, 200, 575}));
}
