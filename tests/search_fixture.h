// Helpers for tests of the search: tables, a small transposition table, and the fixture that owns
// the search's process-wide state.
#pragma once
#include <fcntl.h>
#include <unistd.h>
#include <string>
#include <gtest/gtest.h>
#include "tests/position_fixture.h"
#include "engine/board/movegen.h"
#include "engine/board/makemove.h"
#include "engine/search/ordering.h"
#include "engine/search/alphabeta.h"
#include "engine/search/search.h"
#include "transposition/tt.h"
#include "platform/tablebase.h"

inline void initSearchTables() {
    initTables();
    static bool done = false;
    if (done) return;
    // A search stops when input is waiting on standard input (checkTime); what waits on the test
    // program's own input must not stop the searches run here.
    int null = open("/dev/null", O_RDONLY);
    if (null >= 0) {
        dup2(null, 0);
        close(null);
    }
    initCentrality();
    initReductions();
    printedBy([] { createTT(1); }); // its report line is not wanted here
    done = true;
}

// Sets up a position with fresh search state.
inline void setUpSearch(const char* fen, const char* moves = nullptr) {
    initSearchTables();
    setUp(fen, moves);
    newGame();
}

// Every test of this fixture starts from a fresh search state (record, history, root node counts,
// an empty table, tablebases unused) and leaves one behind, also when an assertion ends it early:
// the next test in this process then sees what a freshly started engine would.
class SearchTest : public testing::Test {
protected:
    void SetUp() override { fresh(); }
    void TearDown() override { fresh(); }

private:
    static void fresh() {
        initSearchTables();
        newGame();
        tablebase_men = 0;
    }
};
