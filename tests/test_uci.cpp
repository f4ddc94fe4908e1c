// The command loop through the real binary: exact answers, line folding and truncation, and bad input
// that must leave the position untouched.
#include <gtest/gtest.h>
#include <cstdio>
#include <filesystem>
#include <vireo_version.h>
#include "tests/engine_process.h"

namespace {
std::string lastLines(EngineProcess& engine, const std::string& command, const std::string& until) {
    engine.send(command);
    std::string text;
    for (const std::string& line : engine.readUntil(until)) text += line + "\n";
    return text;
}

// The root moves of the current position, as "perft 1" lists them.
std::string rootMoves(EngineProcess& engine) {
    engine.send("perft 1");
    std::string moves, report;
    engine.readLine(moves);
    engine.readLine(report); // "N nodes in T ms, ..."
    return moves;
}
} // namespace

TEST(Uci, StartUpAndIdentification) {
    EngineProcess engine;
    std::string line;
    ASSERT_TRUE(engine.readLine(line));
    EXPECT_EQ(line, "Vireo " VIREO_VERSION " x64 ('quit' to exit)");
    ASSERT_TRUE(engine.readLine(line));
    EXPECT_EQ(line.rfind("info debug Supported instructions : ", 0), 0u);
    engine.skipBanner();
    EXPECT_EQ(lastLines(engine, "uci", "uciok"), "id name Vireo " VIREO_VERSION " x64\n"
                                                 "id author Tomas BRELIER\n"
                                                 "option name Hash type spin default 128 min 1 max 65536\n"
                                                 "option name SyzygyPath type string default <empty>\n"
                                                 "uciok\n");
    engine.send("quit");
    EXPECT_EQ(engine.readAll(), "");
    ASSERT_TRUE(engine.waitExit(5000));
    EXPECT_TRUE(WIFEXITED(engine.status()) && WEXITSTATUS(engine.status()) == 0);
}

TEST(Uci, LineFoldingAndUnknownCommands) {
    EngineProcess engine;
    engine.skipBanner();
    engine.send("   \t isready  \t ");
    engine.send("");
    engine.send(" \t  ");
    engine.send("stop");
    engine.send("isready\t\tnow");
    engine.send("setoption name hash value 64");
    engine.send("foo   bar\r");
    engine.send("isready");
    std::string text;
    for (const std::string& line : engine.readUntil("readyok")) text += line + "\n";
    for (const std::string& line : engine.readUntil("readyok")) text += line + "\n";
    EXPECT_EQ(text, "readyok\n"
                    "Unknown command : 'isready now'\n"
                    "Unknown command : 'setoption name hash value 64'\n"
                    "Unknown command : 'foo bar'\n"
                    "readyok\n");
}

TEST(Uci, OverlongLinesAreTruncated) {
    const std::string warning = "info buffer Warning: input is too long and will be truncated (max = 8192 bytes)";
    EngineProcess engine;
    engine.skipBanner();
    // 8190 characters: no warning. 8191: a warning but nothing lost. 9000: warning, cut to 8191.
    for (size_t length : {8190u, 8191u, 9000u}) {
        std::string command(length, 'y'); // "xyy...y"; not "x" + string, which GCC 12 warns about
        command[0] = 'x';
        engine.send(command);
        std::string line;
        ASSERT_TRUE(engine.readLine(line));
        if (length > 8190) {
            EXPECT_EQ(line, warning);
            ASSERT_TRUE(engine.readLine(line));
        }
        EXPECT_EQ(line, "Unknown command : '" + command.substr(0, 8191) + "'") << length;
    }
    engine.send("isready");
    std::string line;
    ASSERT_TRUE(engine.readLine(line));
    EXPECT_EQ(line, "readyok");
}

TEST(Uci, PerftCommand) {
    EngineProcess engine;
    engine.skipBanner();
    std::vector<std::string> lines = (engine.send("perft"), engine.readUntil("20 nodes"));
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0], "a2a3 a2a4 b2b3 b2b4 c2c3 c2c4 d2d3 d2d4 e2e3 e2e4 f2f3 f2f4 g2g3 g2g4 h2h3 h2h4 "
                        "b1a3 b1c3 g1f3 g1h3 ");
    EXPECT_EQ(lines[1].rfind("20 nodes in ", 0), 0u);
    lines = (engine.send("perft 0"), engine.readUntil("20 nodes"));
    EXPECT_EQ(lines.size(), 2u);
    lines = (engine.send("perft 3"), engine.readUntil("8902 nodes"));
    ASSERT_EQ(lines.size(), 21u);
    EXPECT_EQ(lines[0], "a2a3: 380");
    EXPECT_EQ(lines[19], "g1h3: 400");
    EXPECT_NE(lines[20].find(" ms, speed = "), std::string::npos);
    engine.send("perft 65");
    std::string line;
    ASSERT_TRUE(engine.readLine(line));
    EXPECT_EQ(line, "info string Invalid perft depth");
    // Checkmate: no moves, nothing printed but the newline and the report.
    engine.send("position startpos moves f2f3 e7e5 g2g4 d8h4");
    lines = (engine.send("perft 2"), engine.readUntil("0 nodes"));
    EXPECT_EQ(lines.size(), 1u);
    lines = (engine.send("perft"), engine.readUntil("0 nodes"));
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0], "");
}

TEST(Uci, PositionCommands) {
    EngineProcess engine;
    engine.skipBanner();
    engine.send("position startpos moves e2e4 e7e5 g1f3");
    EXPECT_EQ(rootMoves(engine).substr(0, 15), "a7a5 a7a6 b7b5 ");
    // "moves" with nothing after it makes no move.
    engine.send("position startpos moves");
    EXPECT_EQ(rootMoves(engine).substr(0, 10), "a2a3 a2a4 ");
    // Promotions, castling and en passant given as UCI words.
    engine.send("position fen 4k3/1P6/8/8/8/8/8/R3K2R w KQ - 0 1 moves e1g1 e8d7 b7b8n");
    std::string moves = rootMoves(engine);
    EXPECT_NE(moves.find("d7c8"), std::string::npos);
    engine.send("position fen 4k3/8/8/3pP3/8/8/8/4K3 w - d6 0 1 moves e5d6");
    EXPECT_EQ(rootMoves(engine), "e8d7 e8f7 e8d8 e8f8 ");
    engine.send("ucinewgame");
    EXPECT_EQ(rootMoves(engine).substr(0, 10), "a2a3 a2a4 ");
}

TEST(Uci, BadPositionsKeepThePreviousOne) {
    EngineProcess engine;
    engine.skipBanner();
    engine.send("position startpos moves e2e4");
    const std::string before = rootMoves(engine);
    const char* bad[] = {
        "position fen rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0",    // five fields
        "position fen rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNX w KQkq - 0 1",  // bad letter
        "position fen rnbqkbnr/pppppppp/9/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1",  // rank too long
        "position fen rnbqkbnr/ppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1",   // rank too short
        "position fen rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP w KQkq - 0 1",           // seven ranks
        "position fen rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQQBNR w KQkq - 0 1",  // no white king
        "position fen rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBKKBNR w KQkq - 0 1",  // two white kings
        "position fen 4k3/8/8/8/8/8/8/P3K3 w - - 0 1",                            // pawn on rank 1
        "position fen 4k3/8/8/8/8/8/PPPPPPPP/PPPPKPPP w - - 0 1",                 // too many men
        "position fen 4k2R/8/8/8/8/8/8/4K3 w - - 0 1",                            // side not to move in check
        "position fen rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq e4 0 1", // en passant rank
        "position fen rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - x 1",  // halfmove clock
        "position fen rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - moves e2e4",
        "position fen x",
        "position startpos moves e2e5",
        "position startpos moves e2e4 e7e5 e1e2 e8e7 e2e1 e7e8 e1e3",
        "position startpos moves e2",
        "position startpos moves e2e4 e7e5 z9z9",
        "position startpos moves e2e4e",
        "position fen 4k3/1P6/8/8/8/8/8/4K3 w - - 0 1 moves b7b8",
        "position fen 4k3/1P6/8/8/8/8/8/4K3 w - - 0 1 moves b7b8Q",
        "position fen 4k3/1P6/8/8/8/8/8/4K3 w - - 0 1 moves b7b8k",
        "position startpos moves e1g1",
    };
    for (const char* command : bad) {
        engine.send(command);
        std::string line;
        ASSERT_TRUE(engine.readLine(line)) << command;
        EXPECT_EQ(line.rfind("info string Invalid position: ", 0), 0u) << command << " -> " << line;
        EXPECT_EQ(rootMoves(engine), before) << command;
    }
    // Without its trailing blank the line is not a position command at all.
    engine.send("position fen ");
    std::string line;
    ASSERT_TRUE(engine.readLine(line));
    EXPECT_EQ(line, "Unknown command : 'position fen'");
    EXPECT_EQ(rootMoves(engine), before);
}

TEST(Uci, OverlongGameHistoryIsRejected) {
    EngineProcess engine;
    engine.skipBanner();
    // Knights shuffling back and forth: 4 plies per cycle.
    std::string moves;
    for (int i = 0; i < 224; i++) moves += " g1f3 g8f6 f3g1 f6g8";
    engine.send("position startpos moves" + moves.substr(0, moves.size() - 5)); // 895 plies: accepted
    engine.send("isready");
    std::vector<std::string> lines = engine.readUntil("readyok");
    ASSERT_EQ(lines.size(), 1u) << testing::PrintToString(lines);
    EXPECT_EQ(rootMoves(engine).substr(0, 5), "a7a5 ");
    engine.send("position startpos moves" + moves); // 896 plies: rejected
    std::string line;
    ASSERT_TRUE(engine.readLine(line));
    EXPECT_EQ(line, "info string Invalid position: too many moves");
    EXPECT_EQ(rootMoves(engine).substr(0, 5), "a7a5 ");
}

TEST(Uci, EndOfInputEndsLikeQuit) {
    EngineProcess engine;
    engine.skipBanner();
    engine.send("isready");
    engine.closeInput();
    EXPECT_EQ(engine.readAll(), "readyok\n");
    ASSERT_TRUE(engine.waitExit(5000));
    EXPECT_TRUE(WIFEXITED(engine.status()) && WEXITSTATUS(engine.status()) == 0);
}
