// The search through the real binary, as a GUI drives it: limits, stopping by input, output formats,
// mates, game-over answers, the hash option and the tablebase answer at the root.
#include <gtest/gtest.h>
#include <iostream>
#include <regex>
#include <tbprobe.h>
#include "tests/engine_process.h"
#include "tests/scratch_dir.h"
#include "tests/search_fixture.h"
#include "tests/shared_data.h"

namespace {
const std::regex ROOT_INFO("info depth (\\d+) seldepth \\d+ score (cp -?\\d+|mate -?\\d+) (lowerbound |upperbound )?"
                           "pv ([a-h][1-8][a-h][1-8][nbrq]? )*time \\d+ nodes \\d+ nps \\d+ hashfull \\d+");
const std::regex PROGRESS("info depth \\d+ currmove [a-h][1-8][a-h][1-8][nbrq]? currmovenumber \\d+ time \\d+ nodes "
                          "\\d+ nps \\d+ hashfull \\d+");
const std::regex FINAL_SCORE("info score (cp -?\\d+|mate -?\\d+) ");

struct SearchOutput {
    std::vector<std::string> lines;
    std::string bestmove; // the move after "bestmove ", empty when none arrived
    uint64_t ms = 0;      // from the "go" line to the "bestmove" line
    int deepest = 0;      // the deepest exact root line
};

SearchOutput readSearch(EngineProcess& engine, uint64_t sent, int timeout_ms = 20000) {
    SearchOutput out;
    out.lines = engine.readUntil("bestmove", timeout_ms);
    out.ms = clockMs() - sent;
    if (!out.lines.empty() && out.lines.back().rfind("bestmove ", 0) == 0) out.bestmove = out.lines.back().substr(9);
    for (const std::string& line : out.lines) {
        std::smatch m;
        if (std::regex_match(line, m, ROOT_INFO) && !m[3].matched) out.deepest = std::max(out.deepest, std::stoi(m[1]));
    }
    return out;
}

SearchOutput go(EngineProcess& engine, const std::string& position, const std::string& command,
                int timeout_ms = 20000) {
    engine.send(position);
    engine.send(command);
    return readSearch(engine, clockMs(), timeout_ms);
}

// Every line of a search is a root line, a progress line, a notice or one of the two final lines.
void expectWellFormed(const SearchOutput& out) {
    ASSERT_GE(out.lines.size(), 2u);
    for (size_t i = 0; i + 2 < out.lines.size(); i++) {
        const std::string& line = out.lines[i];
        EXPECT_TRUE(std::regex_match(line, ROOT_INFO) || std::regex_match(line, PROGRESS) ||
                    line.rfind("info string Mate in ", 0) == 0)
            << line;
    }
    EXPECT_TRUE(std::regex_match(out.lines[out.lines.size() - 2], FINAL_SCORE)) << out.lines[out.lines.size() - 2];
}

// The engine started in the given working directory (empty: the current one), past its banner.
EngineProcess* startEngine(const std::string& dir = "") {
    EngineProcess* engine = new EngineProcess({VIREO_BINARY}, dir);
    engine->skipBanner();
    return engine;
}
} // namespace

TEST(SearchE2E, DepthLimitAndLineFormats) {
    std::unique_ptr<EngineProcess> engine(startEngine());
    SearchOutput out = go(*engine, "position startpos", "go depth 5");
    ASSERT_NO_FATAL_FAILURE(expectWellFormed(out));
    EXPECT_EQ(out.deepest, 5);
    setUp(START_FEN);
    EXPECT_TRUE(findMove(out.bestmove)) << out.bestmove;
    // The first line is the depth-1 search; nothing comes after "bestmove".
    EXPECT_EQ(out.lines[0].rfind("info depth 1 seldepth ", 0), 0u) << out.lines[0];

    // "go" alone searches to depth 10 — checked on a position where that is quick.
    const char* ending = "8/8/4k3/8/2K5/3P4/8/8 w - - 0 1";
    out = go(*engine, std::string("position fen ") + ending, "go");
    ASSERT_NO_FATAL_FAILURE(expectWellFormed(out));
    EXPECT_EQ(out.deepest, 10);
    setUp(ending);
    EXPECT_TRUE(findMove(out.bestmove)) << out.bestmove;

    // A depth limit is not a time limit: "go depth 3 movetime 1" still completes depth 3.
    out = go(*engine, "position startpos moves e2e4", "go depth 3 movetime 1");
    EXPECT_EQ(out.deepest, 3);
    setUp(START_FEN, "e2e4");
    EXPECT_TRUE(findMove(out.bestmove)) << out.bestmove;
    engine->send("quit");
    EXPECT_TRUE(engine->waitExit(5000));
}

TEST(SearchE2E, TimeLimitsAndStoppingByInput) {
    std::unique_ptr<EngineProcess> engine(startEngine());
    const char* middle = "r1bq1rk1/pp2bppp/2n1pn2/3p4/2PP4/2N1PN2/PP3PPP/R2QKB1R w KQ - 0 9";
    setUp(middle); // every answer below must be one of its moves
    std::string position = std::string("position fen ") + middle;

    SearchOutput out = go(*engine, position, "go movetime 200");
    ASSERT_NO_FATAL_FAILURE(expectWellFormed(out));
    EXPECT_TRUE(findMove(out.bestmove)) << out.bestmove;
    EXPECT_GE(out.ms, 150u);
    EXPECT_LT(out.ms, 1000u);

    // "go infinite" runs until a line arrives; "stop" then prints nothing more.
    engine->send(position);
    engine->send("go infinite");
    usleep(300000);
    std::string line;
    uint64_t sent = clockMs();
    engine->send("stop");
    out = readSearch(*engine, sent);
    EXPECT_TRUE(findMove(out.bestmove)) << out.bestmove;
    EXPECT_LT(out.ms, 1000u);
    engine->send("isready");
    ASSERT_TRUE(engine->readLine(line));
    EXPECT_EQ(line, "readyok");

    // "isready" during a search ends it: "bestmove" first, then "readyok".
    engine->send("go infinite");
    usleep(200000);
    engine->send("isready");
    out = readSearch(*engine, clockMs());
    EXPECT_TRUE(findMove(out.bestmove)) << out.bestmove;
    ASSERT_TRUE(engine->readLine(line));
    EXPECT_EQ(line, "readyok");

    // A second "go" ends the first search and starts its own.
    engine->send("go infinite");
    usleep(200000);
    engine->send("go depth 2");
    out = readSearch(*engine, clockMs());
    EXPECT_TRUE(findMove(out.bestmove)) << out.bestmove;
    out = readSearch(*engine, clockMs());
    EXPECT_EQ(out.deepest, 2);
    EXPECT_TRUE(findMove(out.bestmove)) << out.bestmove;
    engine->send("quit");
    EXPECT_TRUE(engine->waitExit(5000));
}

// Input that ends: a search with a limit of its own runs to it, "go infinite" ends at once since no
// "stop" can come any more; either way "bestmove" is printed and the engine ends as on "quit".
TEST(SearchE2E, EndOfInputDuringASearch) {
    const char* middle = "r1bq1rk1/pp2bppp/2n1pn2/3p4/2PP4/2N1PN2/PP3PPP/R2QKB1R w KQ - 0 9";
    setUp(middle);
    for (const char* command : {"go infinite", "go movetime 400"}) {
        std::unique_ptr<EngineProcess> engine(startEngine());
        engine->send(std::string("position fen ") + middle);
        engine->send(command);
        uint64_t sent = clockMs();
        usleep(100000);
        engine->closeInput();
        SearchOutput out = readSearch(*engine, sent, 5000);
        EXPECT_TRUE(findMove(out.bestmove)) << command << ": " << out.bestmove;
        if (std::string(command) == "go infinite") {
            EXPECT_LT(out.ms, 1000u) << command;
        } else {
            EXPECT_GE(out.ms, 350u) << command;
        }
        ASSERT_TRUE(engine->waitExit(3000)) << command;
        EXPECT_TRUE(WIFEXITED(engine->status()) && WEXITSTATUS(engine->status()) == 0) << command;
    }
}

TEST(SearchE2E, ClockLimits) {
    std::unique_ptr<EngineProcess> engine(startEngine());
    const char* middle = "r1bq1rk1/pp2bppp/2n1pn2/3p4/2PP4/2N1PN2/PP3PPP/R2QKB1R w KQ - 0 9";
    setUp(middle); // every answer below must be one of its moves
    std::string position = std::string("position fen ") + middle;
    // No time left beyond the reserve: a move comes at once.
    for (const char* command : {"go wtime 1000 btime 1000", "go wtime -50 btime -50 winc -10 binc -10", "ergo",
                                "go wtime 1500 btime 100000 movestogo 0", "go ponder wtime 2000 btime 2000"}) {
        SearchOutput out = go(*engine, position, command);
        EXPECT_TRUE(findMove(out.bestmove)) << command << ": " << out.bestmove;
        EXPECT_LT(out.ms, 1000u) << command;
    }
    // Less on the clock than the increment: the increment comes only after the move, so the answer
    // must come well within the 10 ms left (a margin for a loaded machine).
    for (const char* command :
         {"go wtime 10 btime 10 winc 1000 binc 1000", "go wtime 100 btime 100 winc 5000 binc 5000"}) {
        SearchOutput out = go(*engine, position, command);
        EXPECT_TRUE(findMove(out.bestmove)) << command << ": " << out.bestmove;
        EXPECT_LT(out.ms, 250u) << command;
    }
    // 5000 ms left, 40 moves to go: 4000 / 40 - 25 = 75 ms.
    SearchOutput out = go(*engine, position, "go wtime 5000 btime 5000");
    EXPECT_TRUE(findMove(out.bestmove)) << out.bestmove;
    EXPECT_LT(out.ms, 1000u);

    // One legal move under a clock: the answer comes with no search at all.
    const char* forced = "7k/8/8/8/8/8/6q1/7K w - - 0 1";
    engine->send(std::string("position fen ") + forced);
    engine->send("go wtime 10000 btime 10000");
    std::string line;
    ASSERT_TRUE(engine->readLine(line));
    EXPECT_EQ(line, "bestmove h1g2");
    // Under a depth limit the same position is searched.
    out = go(*engine, std::string("position fen ") + forced, "go depth 2");
    EXPECT_GE(out.deepest, 1);
    EXPECT_EQ(out.bestmove, "h1g2");
    engine->send("quit");
    EXPECT_TRUE(engine->waitExit(5000));
}

TEST(SearchE2E, MatesAndGameOver) {
    std::unique_ptr<EngineProcess> engine(startEngine());
    struct Mate {
        const char* fen;
        int moves;
        const char* first;
    };
    const Mate mates[] = {
        {"6k1/5ppp/8/8/8/8/5PPP/R5K1 w - - 0 1", 1, "a1a8"},
        {"7k/8/8/8/8/8/R7/1R4K1 w - - 0 1", 2, nullptr},
        {"8/7k/8/8/8/8/R7/1R4K1 w - - 0 1", 3, nullptr},
    };
    for (const Mate& mate : mates) {
        SearchOutput out = go(*engine, std::string("position fen ") + mate.fen, "go depth 10");
        ASSERT_NO_FATAL_FAILURE(expectWellFormed(out));
        ASSERT_GE(out.lines.size(), 3u);
        size_t n = out.lines.size();
        EXPECT_EQ(out.lines[n - 3], "info string Mate in " + std::to_string(2 * mate.moves - 1) + " half-moves !");
        EXPECT_EQ(out.lines[n - 2], "info score mate " + std::to_string(mate.moves) + " ");
        if (mate.first) {
            EXPECT_EQ(out.bestmove, mate.first);
        }
        setUp(mate.fen);
        EXPECT_TRUE(findMove(out.bestmove)) << out.bestmove;
        // Deepening ends with the iteration that found the mate.
        EXPECT_LT(out.deepest, 10);
    }
    // The side to move being mated sees a negative mate.
    SearchOutput out = go(*engine, "position fen 7k/8/8/8/8/8/R7/1R4K1 w - - 0 1 moves a2a7 h8g8", "go depth 6");
    ASSERT_GE(out.lines.size(), 2u);
    EXPECT_EQ(out.lines[out.lines.size() - 2], "info score mate 1 ");
    out = go(*engine, "position fen 7k/8/8/8/8/8/R7/1R4K1 w - - 0 1 moves a2a7", "go depth 6");
    ASSERT_GE(out.lines.size(), 2u);
    EXPECT_EQ(out.lines[out.lines.size() - 2], "info score mate -1 ");
    EXPECT_EQ(out.bestmove, "h8g8");

    struct Over {
        const char* position;
        const char* notice;
    };
    const Over overs[] = {
        {"position fen R5k1/5ppp/8/8/8/8/5PPP/6K1 b - - 0 1", "info string Game over (mate) !"},
        {"position fen 7k/5Q2/6K1/8/8/8/8/8 b - - 0 1", "info string Game over (pat) !"},
        {"position fen 8/8/8/4k3/8/8/8/4K3 w - - 0 1", "info string Game over (draw) !"},
        {"position fen 8/8/8/4k3/8/8/8/3RK3 w - - 100 90", "info string Game over (draw) !"},
        {"position startpos moves g1f3 g8f6 f3g1 f6g8 g1f3 g8f6 f3g1 f6g8", "info string Game over (draw) !"},
    };
    for (const Over& over : overs) {
        out = go(*engine, over.position, "go depth 5");
        ASSERT_EQ(out.lines.size(), 2u) << over.position;
        EXPECT_EQ(out.lines[0], over.notice);
        EXPECT_EQ(out.lines[1], "bestmove 0000");
    }
    engine->send("quit");
    EXPECT_TRUE(engine->waitExit(5000));
}

TEST(SearchE2E, HashOptionAndTableLifetime) {
    std::unique_ptr<EngineProcess> engine(startEngine());
    engine->send("setoption name Hash value 100");
    std::string line;
    ASSERT_TRUE(engine->readLine(line));
    EXPECT_EQ(line, "info debug Creation of Transposition Table : invalid size (100 MB, reset to default)");
    ASSERT_TRUE(engine->readLine(line));
    EXPECT_EQ(line, "info debug Creation of Transposition Table : success (128 MB)");
    engine->send("setoption name Hash value 1");
    ASSERT_TRUE(engine->readLine(line));
    EXPECT_EQ(line, "info debug Creation of Transposition Table : success (1 MB)");

    auto hashfullOf = [](const std::string& info) { return std::stoi(info.substr(info.rfind("hashfull ") + 9)); };
    SearchOutput out = go(*engine, "position startpos", "go depth 7");
    ASSERT_GE(out.lines.size(), 3u);
    EXPECT_GT(hashfullOf(out.lines[out.lines.size() - 3]), 0);
    // The next search starts with the table as it was.
    out = go(*engine, "position startpos", "go depth 1");
    ASSERT_GE(out.lines.size(), 1u);
    EXPECT_GT(hashfullOf(out.lines[0]), 0) << out.lines[0];
    // A new game clears it.
    engine->send("ucinewgame");
    out = go(*engine, "position startpos", "go depth 1");
    ASSERT_GE(out.lines.size(), 1u);
    EXPECT_EQ(hashfullOf(out.lines[0]), 0) << out.lines[0];
    engine->send("quit");
    EXPECT_TRUE(engine->waitExit(5000));
}

// A big table keeps the clock: its pages are committed when it is created, so neither the first
// search nor the first after "ucinewgame" pays for page faults. 2 GB is what this suite can take
// beside the other tests; a machine that cannot back it halves the size, which is then what runs.
TEST(SearchE2E, BigTableKeepsTheClock) {
    std::unique_ptr<EngineProcess> engine(startEngine());
    const char* middle = "r1bq1rk1/pp2bppp/2n1pn2/3p4/2PP4/2N1PN2/PP3PPP/R2QKB1R w KQ - 0 9";
    setUp(middle);
    std::string position = std::string("position fen ") + middle;
    engine->send("setoption name Hash value 2048");
    engine->send("isready");
    std::vector<std::string> created = engine->readUntil("readyok", 60000);
    ASSERT_FALSE(created.empty());
    EXPECT_EQ(created.back(), "readyok");
    std::string size;
    for (const std::string& line : created)
        if (line.rfind("info debug Creation of Transposition Table : success", 0) == 0) size = line;
    ASSERT_FALSE(size.empty()) << "no table was created";
    if (size != "info debug Creation of Transposition Table : success (2048 MB)") {
        std::cout << "note: this machine gave " << size << "\n";
    }
    for (int round = 0; round < 3; round++) {
        SearchOutput out = go(*engine, position, "go movetime 100");
        EXPECT_TRUE(findMove(out.bestmove)) << out.bestmove;
        EXPECT_GE(out.ms, 100u) << "round " << round;
        EXPECT_LT(out.ms, 500u) << "round " << round; // seconds when the search faults its pages in
        // A new game clears the table before the next round; the interface waits for "readyok".
        engine->send("ucinewgame");
        engine->send("isready");
        std::vector<std::string> ready = engine->readUntil("readyok", 30000);
        ASSERT_FALSE(ready.empty());
        EXPECT_EQ(ready.back(), "readyok");
    }
    // A game under a clock with the big table: every answer well inside its allotted time.
    for (int move = 0; move < 3; move++) {
        SearchOutput out = go(*engine, position, "go wtime 2000 btime 2000 winc 20 binc 20");
        EXPECT_TRUE(findMove(out.bestmove)) << out.bestmove;
        EXPECT_LT(out.ms, 400u) << "move " << move; // 1000 / 40 + 20 - 25 = 20 ms allotted
    }
    engine->send("setoption name Hash value 1");
    engine->send("quit");
    EXPECT_TRUE(engine->waitExit(10000));
}

TEST(SearchE2E, TablebaseAnswerAtTheRoot) {
    if (!haveSyzygy()) GTEST_SKIP() << "no Syzygy tables in " << syzygyDir();
    ScratchDir scratch; // loading the tables appends to "vireo.log" in the engine's working directory
    std::unique_ptr<EngineProcess> engine(startEngine(scratch.path()));
    engine->send("setoption name SyzygyPath value " + syzygyDir());
    std::string line;
    ASSERT_TRUE(engine->readLine(line));
    ASSERT_EQ(line.rfind("info debug Initialisation of Syzygy : success", 0), 0u) << line;

    const char* fen = "8/8/8/4k3/8/8/8/KQ6 w - - 0 1";
    TablesOff off;
    ASSERT_TRUE(tb_init(syzygyDir().c_str()));
    setUp(fen);
    const Ply* p = curr_ply;
    unsigned result =
        tb_probe_root_impl(p->white.pieces[0], p->black.pieces[0], p->white.pieces[KING] | p->black.pieces[KING],
                           p->white.pieces[QUEEN], 0, 0, 0, 0, 0, 0, true, nullptr);
    ASSERT_EQ(TB_GET_WDL(result), unsigned(TB_WIN));
    int from = int(TB_GET_FROM(result)), to = int(TB_GET_TO(result));
    std::string move = uciMoveText(makeMoveWord(from, to, QUEEN));

    SearchOutput out = go(*engine, std::string("position fen ") + fen, "go depth 20");
    ASSERT_EQ(out.lines.size(), 2u);
    EXPECT_EQ(out.lines[0], "info score cp " + std::to_string(10000 - int(TB_GET_DTZ(result))) + " ");
    EXPECT_EQ(out.bestmove.substr(0, 2), move.substr(0, 2));
    EXPECT_EQ(out.bestmove, move);

    // With castling rights left the position is searched instead.
    out = go(*engine, "position fen 4k3/8/8/8/8/8/8/R3K3 w Q - 0 1", "go depth 2");
    EXPECT_EQ(out.deepest, 2);
    engine->send("quit");
    EXPECT_TRUE(engine->waitExit(5000));
}

TEST(SearchE2E, BenchInterruptedAndDebug) {
    std::unique_ptr<EngineProcess> engine(startEngine());
    // A line sent during "bench" ends each of its searches at the first input test.
    engine->send("bench");
    engine->send("isready");
    std::vector<std::string> lines = engine->readUntil("readyok", 60000);
    int diagrams = 0, bestmoves = 0;
    for (const std::string& line : lines) {
        if (line.rfind("fen = ", 0) == 0) diagrams++;
        if (line.rfind("bestmove ", 0) == 0) {
            bestmoves++;
            EXPECT_NE(line, "bestmove 0000");
        }
    }
    EXPECT_EQ(diagrams, 4);
    EXPECT_EQ(bestmoves, 4);
    ASSERT_GE(lines.size(), 2u);
    EXPECT_TRUE(std::regex_match(lines[lines.size() - 2], std::regex("\\d+ nodes in \\d+ ms, speed = \\d+ nodes/s")))
        << lines[lines.size() - 2];
    EXPECT_EQ(lines.back(), "readyok");

    engine->send("debug");
    lines = engine->readUntil("fen = ");
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines.back(), "fen = r5k1/p2qp1bp/6p1/1pP3P1/2n1P3/1QP1B3/P3N1PP/R4K2 b - - 0 1");

    engine->send("position startpos");
    engine->send("debug");
    lines = engine->readUntil("20 mirrored legal moves:");
    std::vector<std::string> listing;
    bool in_list = false;
    for (const std::string& line : lines) {
        if (line == "20 legal moves:") in_list = true;
        else if (in_list && !line.empty() && line != "20 mirrored legal moves:") listing.push_back(line);
    }
    ASSERT_FALSE(listing.empty());
    for (size_t i = 0; i + 1 < listing.size(); i++) EXPECT_GT(listing[i].size(), 69u) << listing[i];
    std::string all;
    for (const std::string& l : listing) all += l + " ";
    EXPECT_NE(all.find("e2e4"), std::string::npos) << all;
    std::string mirrored; // the first line of the mirrored listing
    engine->readLine(mirrored);
    EXPECT_NE(mirrored.find("e7e5"), std::string::npos) << mirrored;
    engine->send("quit");
    EXPECT_TRUE(engine->waitExit(5000));
}
