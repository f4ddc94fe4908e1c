// The search record's helpers: score text, the draw-by-rule test, the time check and its progress line.
#include <gtest/gtest.h>
#include <cstring>
#include "tests/search_fixture.h"
#include "engine/search/score.h"
#include "engine/search/draw.h"
#include "engine/search/record.h"
#include "engine/search/time_check.h"
#include "engine/search/output.h"
#include "platform/clock.h"

using Record = SearchTest;

TEST_F(Record, ScoreText) {
    EXPECT_EQ(scoreText(31), "score cp 31 ");
    EXPECT_EQ(scoreText(-5), "score cp -5 ");
    EXPECT_EQ(scoreText(29997), "score mate 2 ");
    EXPECT_EQ(scoreText(29999), "score mate 1 ");
    EXPECT_EQ(scoreText(29998), "score mate 1 ");
    EXPECT_EQ(scoreText(-29996), "score mate -2 ");
    EXPECT_EQ(scoreText(-29998), "score mate -1 ");
    EXPECT_EQ(scoreText(-30000), "score mate 0 ");
    EXPECT_EQ(scoreText(29937), "score mate 32 ");
    EXPECT_EQ(scoreText(29936), "score cp 29936 ");
    EXPECT_EQ(scoreText(-29936), "score cp -29936 ");
    EXPECT_EQ(scoreText(60000), "score cp 60000 ");
    EXPECT_EQ(scoreText(-60000), "score cp -60000 ");
}

TEST_F(Record, DrawByRule) {
    setUpSearch(START_FEN, "g1f3 g8f6 f3g1 f6g8");
    EXPECT_FALSE(drawByRule()); // seen once before
    setUpSearch(START_FEN, "g1f3 g8f6 f3g1 f6g8 g1f3 g8f6 f3g1 f6g8");
    EXPECT_TRUE(drawByRule()); // the third time
    // An irreversible move in between starts the count again.
    setUpSearch(START_FEN, "g1f3 g8f6 f3g1 f6g8 e2e3 e7e6 g1f3 g8f6 f3g1 f6g8");
    EXPECT_FALSE(drawByRule());
    setUpSearch("8/8/8/4k3/8/8/8/4K3 w - - 0 1");
    EXPECT_TRUE(drawByRule());
    setUpSearch("8/8/8/4k3/8/8/8/3NK3 w - - 0 1");
    EXPECT_FALSE(drawByRule()); // king and knight: not by rule
    setUpSearch("8/8/8/4k3/8/8/8/3RK3 w - - 100 80");
    EXPECT_TRUE(drawByRule());
    setUpSearch("8/8/8/4k3/8/8/8/3RK3 w - - 99 80");
    EXPECT_FALSE(drawByRule());
}

TEST_F(Record, CheckTimeLimitsAndProgressLine) {
    setUpSearch(START_FEN);
    search.start = clockMs();
    search.limit = LIMIT_TIME;
    search.movetime = 0;
    search.nodes = 9999;
    EXPECT_EQ(checkTime(), 0u); // only multiples of 10,000 look at the clock
    search.nodes = 10000;
    EXPECT_EQ(checkTime(), 1u);
    EXPECT_EQ(checkTime(), 1u); // stays set

    resetSearch();
    search.start = clockMs();
    search.limit = LIMIT_CLOCK;
    search.nodes = 10000;
    EXPECT_EQ(checkTime(), 1u);

    resetSearch();
    search.start = clockMs();
    search.limit = LIMIT_DEPTH; // the clock never stops a depth search
    search.nodes = 10000;
    EXPECT_EQ(checkTime(), 0u);

    search.curr_depth = 7;
    search.currmove = findMove("e2e4");
    search.currmovenumber = 3;
    search.nodes = 4000000;
    std::string line = printedBy(checkTime);
    EXPECT_EQ(line.rfind("info depth 7 currmove e2e4 currmovenumber 3 time ", 0), 0u) << line;
    EXPECT_NE(line.find(" nodes 4000000 nps "), std::string::npos) << line;
    EXPECT_NE(line.find(" hashfull 0\n"), std::string::npos) << line;
    search.nodes = 4010000;
    EXPECT_EQ(printedBy(checkTime), "");
}

TEST_F(Record, PrincipalVariationFromTheTable) {
    setUpSearch(START_FEN);
    Move e4 = findMove("e2e4");
    makeMove(e4);
    Move e5 = findMove("e7e5");
    storeTT(curr_ply->key, 32, 2, -100, 100, e5, 0);
    makeMove(e5);
    // A move stored for a position but illegal there is not followed.
    storeTT(curr_ply->key, 32, 1, -100, 100, makeMoveWord(12, 28, PAWN), 0);
    takeBack();
    takeBack();
    EXPECT_EQ(pvText(e4), "e2e4 e7e5 ");
    EXPECT_EQ(pvText(0), "");
    EXPECT_EQ(ply_index, 0);

    // A variation that runs into a third repetition stops before it.
    setUpSearch(START_FEN, "g1f3 g8f6 f3g1 f6g8 g1f3 g8f6");
    const char* cycle[4] = {"f3g1", "f6g8", "g1f3", "g8f6"};
    int made = 0;
    for (const char* text : cycle) {
        Move m = findMove(text);
        storeTT(curr_ply->key, 32, 1, -100, 100, m, 0);
        makeMove(m);
        made++;
    }
    while (made--) takeBack();
    // f3g1 reaches the start position a third time: the draw ends the line after it.
    EXPECT_EQ(pvText(findMove("f3g1")), "f3g1 f6g8 ");
}
