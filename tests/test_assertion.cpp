// The logged consistency check: board on standard output, a line in "vireo.log", then the abort.
#include <gtest/gtest.h>
#include <sstream>
#include "tests/position_fixture.h"
#include "tests/scratch_dir.h"
#include "engine/board/assertion.h"
#include "engine/board/makemove.h"

TEST(AssertionDeathTest, CapturedKingIsReportedAndLogged) {
    ScratchDir dir;
    WorkingDirectory here(dir.path());
    setUp("4k3/8/8/8/8/8/8/4K2R w - - 0 1");
    // A word that captures the king: never generated, so only a corrupt caller could pass it.
    Move bad = makeMoveWord(7, 60, ROOK, KING);
    EXPECT_DEATH(makeMove(bad), "Assertion failed: captured < 6, file makemove\\.cpp, line [0-9]+\n");
    std::istringstream log(dir.read("vireo.log"));
    std::string line;
    ASSERT_TRUE(std::getline(log, line));
    EXPECT_TRUE(line.rfind("Assertion error : captured < 6 (file ", 0) == 0) << line;
    // The file by its name alone, wherever the tree was built.
    EXPECT_TRUE(line.rfind("Assertion error : captured < 6 (file makemove.cpp, line ", 0) == 0) << line;
}

TEST(AssertionDeathTest, ReportGoesOnWithoutALogFile) {
    ScratchDir dir;
    dir.makeDirectory("vireo.log"); // a folder where the log should be: it cannot be opened
    WorkingDirectory here(dir.path());
    setUp("4k3/8/8/8/8/8/8/4K2R w - - 0 1");
    EXPECT_DEATH(makeMove(makeMoveWord(7, 60, ROOK, KING)), "Assertion failed: captured < 6");
}
