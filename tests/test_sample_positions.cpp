// The sampler of positions the engine meets (tools/sample_positions) on a tiny run, the playing
// out of pending exchanges it labels instead, and the labels of decisive positions.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <map>
#include <string>

#include "tests/position_fixture.h"
#include "tests/scratch_dir.h"
#include "tools/decisive_label.h"
#include "tools/material_search.h"

namespace {

using vireo_tools::STOCKFISH;

std::string toolPath() {
    std::string binary = VIREO_BINARY;
    return binary.substr(0, binary.find_last_of('/')) + "/sample_positions";
}

// The position after playing out the pending exchange of a FEN.
std::string playedOut(const char* fen) {
    setUp(fen);
    vireo_tools::playOutCaptures();
    return fenText();
}

} // namespace

// A hanging piece is taken and the quiet position after it labelled; a capture that the
// recapture makes a loss is not played; a longer exchange is played to its end.
TEST(SamplePositions, PendingExchangesArePlayedOut) {
    EXPECT_EQ(playedOut("4k3/8/8/3n4/8/8/8/3RK3 w - - 0 1"), "4k3/8/8/3R4/8/8/8/4K3 b - - 0 1");
    EXPECT_EQ(playedOut("4k3/8/2p5/3n4/8/8/8/3RK3 w - - 0 1"), "4k3/8/2p5/3n4/8/8/8/3RK3 w - - 0 1");
    // Both sides take what hangs: the rook the queen, then the bishop the other rook.
    std::string end = playedOut("4k3/8/8/3q4/8/8/6b1/3RK2R w - - 0 1");
    EXPECT_EQ(end.substr(0, end.find(" - ")), "4k3/8/8/3R4/8/8/8/4K2b w");
    setUp(end.c_str());
    EXPECT_TRUE(vireo_tools::isQuiet()) << end;
}

// Mates outrank every centipawn label, nearer mates more, always below 30 pawns; the mated side
// gets the same values negated.
TEST(SamplePositions, DecisiveLabels) {
    using vireo_tools::SearchResult;
    double previous = vireo_tools::MATE_PAWNS;
    for (int moves = 1; moves <= 200; moves++) {
        double win = vireo_tools::labelPawns(SearchResult{true, moves, ""});
        double loss = vireo_tools::labelPawns(SearchResult{true, -moves, ""});
        EXPECT_LT(win, previous) << "mate in " << moves;
        EXPECT_GT(win, vireo_tools::DECISIVE_PAWNS) << "mate in " << moves;
        // Being mated in N moves is 2N plies away, mating in N is 2N - 1.
        EXPECT_LT(-loss, win) << "mated in " << moves;
        EXPECT_GT(-loss, vireo_tools::labelPawns(SearchResult{true, moves + 1, ""})) << "mated in " << moves;
        previous = win;
    }
    EXPECT_EQ(vireo_tools::labelPawns(SearchResult{false, 123, ""}), 1.23);
    EXPECT_EQ(vireo_tools::labelPawns(SearchResult{false, 25000, ""}), vireo_tools::DECISIVE_PAWNS);
    EXPECT_EQ(vireo_tools::labelPawns(SearchResult{false, -25000, ""}), -vireo_tools::DECISIVE_PAWNS);
}

// A tiny run: every line a legal position with a readable label, not in check, with a move, quiet
// (as fit_model --quiet-only sees it), of 4 to 32 men, none twice, every count up to its floor.
TEST(SamplePositions, TinyRun) {
    std::string tool = toolPath();
    if (access(tool.c_str(), X_OK) != 0) GTEST_SKIP() << "sample_positions is not built next to the engine";
    if (access(STOCKFISH, X_OK) != 0) GTEST_SKIP() << "no stockfish at " << STOCKFISH << " (apt-get install stockfish)";
    ScratchDir scratch;
    ASSERT_FALSE(scratch.path().empty());
    const std::string& dir = scratch.path();
    const int floor = 2;
    std::string command = "cd " + dir + " && " + tool + " --count=40 --floor=" + std::to_string(floor) +
                          " --depth=3 --label-depth=4 --seed=2 --output=samples.txt > log.txt 2>&1 < /dev/null";
    ASSERT_EQ(system(command.c_str()), 0) << scratch.read("log.txt");
    std::string log = scratch.read("log.txt");
    EXPECT_NE(log.find(" resolved ("), std::string::npos) << log;

    std::ifstream in(dir + "/samples.txt");
    std::map<int, int> per_count;
    std::map<std::string, int> seen;
    int lines = 0;
    for (std::string line; std::getline(in, line); lines++) {
        size_t separator = line.find(';');
        ASSERT_NE(separator, std::string::npos) << line;
        std::string fen = line.substr(0, separator);
        double pawns = 0;
        char rest = 0;
        EXPECT_EQ(sscanf(line.c_str() + separator + 1, "%lf%c", &pawns, &rest), 1) << line;
        EXPECT_LT(std::abs(pawns), vireo_tools::MATE_PAWNS) << line;
        std::string reason;
        initTables();
        ASSERT_TRUE(setPosition(fen.c_str(), nullptr, &reason)) << line << ": " << reason;
        computeAttacks();
        EXPECT_EQ(curr_ply->player->attacks->checkers, 0u) << line;
        EXPECT_TRUE(vireo_tools::isQuiet()) << line;
        generateMoves(GEN_ALL);
        EXPECT_GT(curr_ply->generated, 0) << line;
        int men = popcount(curr_ply->occupancy);
        EXPECT_TRUE(men >= 4 && men <= 32) << line;
        per_count[men]++;
        EXPECT_EQ(seen[fen.substr(0, fen.find(' ', fen.find(' ', fen.find(' ', fen.find(' ') + 1) + 1) + 1))]++, 0)
            << "twice: " << line;
    }
    EXPECT_GE(lines, 40);
    for (int men = 4; men <= 32; men++) EXPECT_GE(per_count[men], floor) << men << " men";
}
