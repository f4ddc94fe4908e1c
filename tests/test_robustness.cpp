// Garbage and mangled commands never crash the engine nor lose its position.
#include <gtest/gtest.h>
#include <random>
#include "tests/engine_process.h"

TEST(Robustness, MangledCommandsKeepTheEngineAlive) {
    const std::vector<std::string> seeds = {
        "position startpos moves e2e4 e7e5 g1f3 b8c6 f1b5",
        "position fen r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1 moves e1g1 e8c8",
        "position fen 8/2p5/3p4/KP5r/1R3p1k/8/4P1P1/8 w - - 0 1",
        "position fen 4k3/1P6/8/3pP3/8/8/8/4K3 w - d6 0 1 moves e5d6 e8d7 b7b8q",
        "setoption name Hash value 16",
        "setoption name SyzygyPath value /nonexistent",
        "go depth 2",
        "go movetime 20",
        "go wtime 100 btime 100 winc 0 binc 0 movestogo 1",
        "isready",
        "ucinewgame",
        "uci",
        "debug",
        "stop",
    };
    std::mt19937 random(12345);
    const std::string alphabet = "abcdefghpnbrqkPNBRQK12345678/- 0x9w";
    EngineProcess engine;
    engine.skipBanner();
    for (int i = 0; i < 400; i++) {
        std::string line = seeds[random() % seeds.size()];
        int edits = 1 + int(random() % 4);
        for (int e = 0; e < edits && !line.empty(); e++) {
            size_t at = random() % line.size();
            switch (random() % 3) {
            case 0: line[at] = alphabet[random() % alphabet.size()]; break;
            case 1: line.erase(at, 1 + random() % 3); break;
            default: line.insert(at, 1, alphabet[random() % alphabet.size()]);
            }
        }
        // Keep searches and counts short: unbounded or deep ones are not what this test is about.
        if (line.find("perft") != std::string::npos || line.find("bench") != std::string::npos) continue;
        if (line.find("go") != std::string::npos) line = "go depth 2";
        if (line.find("Hash") != std::string::npos) line = "setoption name Hash value 1";
        engine.send(line);
        engine.send("isready");
        std::vector<std::string> answer = engine.readUntil("readyok", 20000);
        ASSERT_FALSE(answer.empty()) << "no answer after: " << line;
        ASSERT_EQ(answer.back(), "readyok") << "after: " << line;
    }
    engine.send("position startpos moves e2e4");
    engine.send("perft 1");
    std::string moves;
    ASSERT_TRUE(engine.readLine(moves));
    EXPECT_EQ(moves.substr(0, 10), "a7a5 a7a6 ");
}
