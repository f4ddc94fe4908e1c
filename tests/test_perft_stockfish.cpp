// Perft divides compared move by move with stockfish's on many positions from real games and
// endgames, and a walk over the same trees checking the incremental key, pawn sets and ring counts.
#include <gtest/gtest.h>
#include <map>
#include <sstream>
#include <unistd.h>
#include "tests/engine_process.h"
#include "tools/uci/stockfish.h"
#include "tests/position_fixture.h"
#include "tests/shared_data.h"
#include "engine/board/makemove.h"
#include "engine/board/movegen.h"
#include "engine/board/perft.h"

namespace {
using vireo_tools::STOCKFISH;

// The classic positions and a few more with promotions and en passant, then positions spread
// over the labelled training data, count in all (fewer when the data is missing).
std::vector<std::string> crossCheckPositions(size_t count) {
    std::vector<std::string> fens(std::begin(CLASSIC_FENS), std::end(CLASSIC_FENS));
    for (const char* fen : {"rnbq1k1r/pp1Pbppp/2p5/8/2B5/8/PPP1NnPP/RNBQK2R w KQ - 1 8",
                            "r4rk1/1pp1qppp/p1np1n2/2b1p1B1/2B1P1b1/P1NP1N2/1PP1QPPP/R4RK1 w - - 0 10",
                            "4k3/1P6/8/8/8/8/6p1/4K3 w - - 0 1", "8/8/8/2k5/2pP4/8/B7/4K3 b - d3 0 1"})
        fens.push_back(fen);
    const std::vector<std::string>& all = trainingFens();
    for (size_t i = 0; all.size() && fens.size() < count; i++) fens.push_back(all[(i * 7919 + 13) % all.size()]);
    return fens;
}

// Adds a "move: count" line of a perft divide; other lines are left out.
void addDivideLine(std::map<std::string, uint64_t>& divide, const std::string& line) {
    size_t colon = line.find(": ");
    if (colon != std::string::npos) divide[line.substr(0, colon)] = std::stoull(line.substr(colon + 2));
}

std::map<std::string, uint64_t> stockfishDivide(EngineProcess& stockfish, const std::string& fen, int depth) {
    stockfish.send("position fen " + fen);
    stockfish.send("go perft " + std::to_string(depth));
    std::map<std::string, uint64_t> divide;
    for (const std::string& line : stockfish.readUntil("Nodes searched", 60000))
        if (line.rfind("Nodes", 0) != 0) addDivideLine(divide, line); // not "Nodes searched: N"
    return divide;
}

std::map<std::string, uint64_t> vireoDivide(const std::string& fen, int depth) {
    setUp(fen.c_str());
    std::istringstream lines(printedBy([depth] { perft(0, depth - 1); }));
    std::map<std::string, uint64_t> divide;
    for (std::string line; std::getline(lines, line);) addDivideLine(divide, line);
    return divide;
}

// Every node: the incremental key equals the key from scratch, the pawn sets match the pawns and
// the ring counts the pieces.
void walk(int depth) {
    ASSERT_EQ(curr_ply->key, computeKey());
    Side black = curr_ply->black, white = curr_ply->white;
    computePawnStructure();
    ASSERT_EQ(black.passed, curr_ply->black.passed);
    ASSERT_EQ(white.doubled, curr_ply->white.doubled);
    ASSERT_EQ(white.isolated | black.isolated, curr_ply->white.isolated | curr_ply->black.isolated);
    computeRingCounts();
    for (int j = 0; j < 5; j++) {
        ASSERT_EQ(black.ring_counts[j], curr_ply->black.ring_counts[j]) << fenText();
        ASSERT_EQ(white.ring_counts[j], curr_ply->white.ring_counts[j]) << fenText();
    }
    if (!depth) return;
    computeAttacks();
    generateMoves(GEN_ALL);
    Ply* ply = curr_ply;
    for (int i = 0; i < ply->generated; i++) {
        makeMove(ply->moves[i]);
        walk(depth - 1);
        takeBack();
    }
}
} // namespace

TEST(PerftCrossCheck, DividesEqualStockfish) {
    if (access(STOCKFISH, X_OK)) GTEST_SKIP() << "stockfish is not installed at " << STOCKFISH;
    std::vector<std::string> fens = crossCheckPositions(240);
    if (fens.size() < 240) GTEST_SKIP() << "labelled positions not found under " << VIREO_SHARED_DIR;
    EngineProcess stockfish({STOCKFISH});
    stockfish.send("uci");
    stockfish.readUntil("uciok");
    uint64_t compared = 0;
    for (size_t i = 0; i < fens.size(); i++) {
        int depth = i < 40 ? 4 : 3;
        auto expected = stockfishDivide(stockfish, fens[i], depth);
        EXPECT_EQ(vireoDivide(fens[i], depth), expected) << fens[i] << " depth " << depth;
        for (auto& [move, count] : expected) compared += count;
    }
    EXPECT_GT(compared, 10000000u) << "stockfish answered too little";
}

TEST(PerftCrossCheck, IncrementalKeysPawnSetsAndRingCounts) {
    std::vector<std::string> fens = crossCheckPositions(120);
    for (const std::string& fen : fens) {
        setUp(fen.c_str());
        walk(3);
        ASSERT_FALSE(HasFatalFailure()) << fen;
    }
}
