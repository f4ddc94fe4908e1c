// Perft divides compared move by move with stockfish's on many positions from real games and
// endgames, and a walk over the same trees checking the incremental key and pawn sets.
#include <gtest/gtest.h>
#include <fstream>
#include <map>
#include <sstream>
#include <unistd.h>
#include "tests/engine_process.h"
#include "tests/position_fixture.h"
#include "engine/makemove.h"
#include "engine/movegen.h"
#include "engine/perft.h"

namespace {
const char* STOCKFISH = "/usr/games/stockfish";

std::vector<std::string> samplePositions(size_t count) {
    std::vector<std::string> fens = {
        START_FEN,
        "r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1",
        "8/2p5/3p4/KP5r/1R3p1k/8/4P1P1/8 w - - 0 1",
        "r3k2r/Pppp1ppp/1b3nbN/nP6/BBP1P3/q4N2/Pp1P2PP/R2Q1RK1 w kq - 0 1",
        "rnbq1k1r/pp1Pbppp/2p5/8/2B5/8/PPP1NnPP/RNBQK2R w KQ - 1 8",
        "r4rk1/1pp1qppp/p1np1n2/2b1p1B1/2B1P1b1/P1NP1N2/1PP1QPPP/R4RK1 w - - 0 10",
        "4k3/1P6/8/8/8/8/6p1/4K3 w - - 0 1",
        "8/8/8/2k5/2pP4/8/B7/4K3 b - d3 0 1",
    };
    std::ifstream file(std::string(VIREO_SHARED_DIR) + "/training/positions.txt");
    std::vector<std::string> all;
    for (std::string line; std::getline(file, line);) all.push_back(line.substr(0, line.find(';')));
    for (size_t i = 0; all.size() && fens.size() < count; i++) fens.push_back(all[(i * 7919 + 13) % all.size()]);
    return fens;
}

std::map<std::string, uint64_t> stockfishDivide(EngineProcess& stockfish, const std::string& fen, int depth) {
    stockfish.send("position fen " + fen);
    stockfish.send("go perft " + std::to_string(depth));
    std::map<std::string, uint64_t> divide;
    for (const std::string& line : stockfish.readUntil("Nodes searched", 60000)) {
        size_t colon = line.find(": ");
        if (colon != std::string::npos && line.rfind("Nodes", 0) != 0)
            divide[line.substr(0, colon)] = std::stoull(line.substr(colon + 2));
    }
    return divide;
}

std::map<std::string, uint64_t> vireoDivide(const std::string& fen, int depth) {
    setUp(fen.c_str());
    testing::internal::CaptureStdout();
    perft(0, depth - 1);
    std::istringstream lines(testing::internal::GetCapturedStdout());
    std::map<std::string, uint64_t> divide;
    for (std::string line; std::getline(lines, line);) {
        size_t colon = line.find(": ");
        if (colon != std::string::npos) divide[line.substr(0, colon)] = std::stoull(line.substr(colon + 2));
    }
    return divide;
}

// Every node: the incremental key equals the key from scratch, and the pawn sets match the pawns.
void walk(int depth) {
    ASSERT_EQ(curr_ply->key, computeKey());
    Side black = curr_ply->black, white = curr_ply->white;
    computePawnStructure();
    ASSERT_EQ(black.passed, curr_ply->black.passed);
    ASSERT_EQ(white.doubled, curr_ply->white.doubled);
    ASSERT_EQ(white.isolated | black.isolated, curr_ply->white.isolated | curr_ply->black.isolated);
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
    std::vector<std::string> fens = samplePositions(240);
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

TEST(PerftCrossCheck, IncrementalKeysAndPawnSets) {
    std::vector<std::string> fens = samplePositions(120);
    for (const std::string& fen : fens) {
        setUp(fen.c_str());
        walk(3);
        ASSERT_FALSE(HasFatalFailure()) << fen;
    }
}
