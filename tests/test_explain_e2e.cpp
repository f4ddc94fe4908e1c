// build/explain as a user runs it, against the engine's own "debug" over pipes: for several
// hundred positions (the positions file, games played on from them, random endings of 2 to 6 men)
// the "total cp" of the tool is the "score cp" of "debug", and the terms add up to it. Bad lines
// print one "invalid fen" line each and the tool goes on.
#include <sstream>
#include <string>
#include <vector>
#include <gtest/gtest.h>
#include "tests/explain_positions.h"
#include "tests/position_fixture.h"
#include "tests/scratch_dir.h"
#include "tools/uci/process.h"

namespace {

struct ToolRun {
    int status;
    std::string out, err;
};

ToolRun runExplain(const ScratchDir& dir, const std::string& input) {
    dir.write("input.txt", input);
    int status = vireo_tools::runToEnd({VIREO_EXPLAIN_BINARY}, dir.path(), dir.path() + "/input.txt",
                                       dir.path() + "/stdout.txt", dir.path() + "/stderr.txt");
    return {status, dir.read("stdout.txt"), dir.read("stderr.txt")};
}

std::vector<std::string> lines(const std::string& text) {
    std::vector<std::string> out;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) out.push_back(line);
    return out;
}

// Legal positions of `men` men: kings and random other men on random squares, kept when the
// engine's FEN reader accepts them.
std::vector<std::string> randomEndings(int men, int count, uint64_t seed) {
    std::vector<std::string> fens;
    const char* pieces = "PNBRQpnbrq";
    while (int(fens.size()) < count) {
        char board[64];
        for (char& c : board) c = 0;
        auto place = [&](char piece) {
            int square;
            do square = int(nextRandom(seed) % 64);
            while (board[square]);
            board[square] = piece;
        };
        place('K');
        place('k');
        for (int i = 2; i < men; i++) place(pieces[nextRandom(seed) % 10]);
        std::string fen;
        for (int rank = 7; rank >= 0; rank--) {
            int empty = 0;
            for (int file = 0; file < 8; file++) {
                char c = board[8 * rank + file];
                if (!c) {
                    empty++;
                    continue;
                }
                if (empty) fen += char('0' + empty), empty = 0;
                fen += c;
            }
            if (empty) fen += char('0' + empty);
            if (rank) fen += '/';
        }
        fen += nextRandom(seed) % 2 ? " w - - 0 1" : " b - - 0 1";
        if (setPosition(fen.c_str(), nullptr, nullptr)) fens.push_back(fen);
    }
    return fens;
}

std::vector<std::string> testPositions() {
    initTables();
    std::vector<std::string> fens = positionsFile();
    uint64_t seed = 2024;
    playOn(fens, 6, seed);
    for (int men = 2; men <= 6; men++) {
        std::vector<std::string> endings = randomEndings(men, men == 2 ? 10 : 40, seed + uint64_t(men));
        fens.insert(fens.end(), endings.begin(), endings.end());
    }
    return fens;
}

} // namespace

TEST(ExplainTool, TotalsAreTheScoresOfDebug) {
    std::vector<std::string> fens = testPositions();
    ASSERT_GT(fens.size(), 400u);
    ScratchDir dir;
    std::string fen_lines, commands;
    for (const std::string& fen : fens) {
        fen_lines += fen + "\n";
        commands += "position fen " + fen + "\ndebug\n";
    }
    ToolRun tool = runExplain(dir, fen_lines);
    ASSERT_EQ(tool.status, 0);
    EXPECT_EQ(tool.err, "");

    dir.write("commands.txt", commands + "quit\n");
    int status = vireo_tools::runToEnd({VIREO_BINARY}, dir.path(), dir.path() + "/commands.txt",
                                       dir.path() + "/engine.txt", dir.path() + "/engine_err.txt");
    ASSERT_EQ(status, 0);
    std::vector<int> scores;
    for (const std::string& line : lines(dir.read("engine.txt"))) {
        EXPECT_EQ(line.find("Invalid position"), std::string::npos) << line;
        int cp;
        if (sscanf(line.c_str(), "score cp %i", &cp) == 1) scores.push_back(cp);
    }
    ASSERT_EQ(scores.size(), fens.size());

    // Each position: "fen", the terms, perhaps a note, "total cp N", an empty line.
    std::vector<std::string> out = lines(tool.out);
    size_t position = 0, settled = 0;
    int sum = 0;
    bool has_terms = false;
    std::string current;
    for (const std::string& line : out) {
        int cp;
        char name[64];
        if (line.rfind("fen ", 0) == 0) {
            ASSERT_LT(position, fens.size());
            EXPECT_EQ(line, "fen " + fens[position]);
            current = fens[position];
            sum = 0;
            has_terms = false;
        } else if (sscanf(line.c_str(), "total cp %i", &cp) == 1) {
            EXPECT_EQ(cp, scores[position]) << current;
            if (has_terms) EXPECT_EQ(sum, cp) << current;
            else settled++;
            position++;
        } else if (line.rfind("note: ", 0) == 0 || line.empty()) {
        } else if (line.size() > 24 && sscanf(line.c_str() + 21, "cp %i", &cp) == 1 &&
                   sscanf(line.c_str(), "%63s", name)) {
            EXPECT_EQ(line.substr(20, 4), " cp ") << line;
            sum += cp;
            has_terms = true;
        } else {
            ADD_FAILURE() << "unexpected line: " << line;
        }
    }
    EXPECT_EQ(position, fens.size());
    EXPECT_GE(settled, 50u); // the endings of 2 and 3 men, and any stalemated bare king
}

TEST(ExplainTool, ExactOutput) {
    ScratchDir dir;
    ToolRun run = runExplain(dir, "8/8/8/4k3/8/8/8/4K3 w - - 0 1\r\n"
                                  "\n"
                                  "   \n"
                                  "7k/5K2/6Q1/8/8/8/P7/8 b - - 0 1\n");
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out, "fen 8/8/8/4k3/8/8/8/4K3 w - - 0 1\n"
                       "note: Bare kings: a draw, scored without the model.\n"
                       "total cp 0\n\n"
                       "fen 7k/5K2/6Q1/8/8/8/P7/8 b - - 0 1\n"
                       "note: Bare king with no free square: scored 0 without the model. Stalemate: the side to "
                       "move has no legal move.\n"
                       "total cp 0\n\n");
}

TEST(ExplainTool, BadLinesPrintOneLineAndTheToolGoesOn) {
    ScratchDir dir;
    std::string input = "garbage\n"
                        "8/8/8/8/8/8/k7/K7 w - - 0 1\n" +
                        std::string(20000, 'x') + "\n" + std::string("\x01\xff\"\\ w - -\n") +
                        "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0\n"
                        "8/8/8/4k3/8/8/8/4K3 w - - 0 1\n";
    ToolRun run = runExplain(dir, input);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.err, "");
    std::vector<std::string> out = lines(run.out);
    ASSERT_EQ(out.size(), 9u) << run.out;
    EXPECT_EQ(out[0], "invalid fen: a FEN needs 4 or 6 fields");
    EXPECT_EQ(out[1], "invalid fen: the side not to move is in check");
    EXPECT_EQ(out[2].rfind("invalid fen: ", 0), 0u);
    EXPECT_EQ(out[3].rfind("invalid fen: ", 0), 0u);
    EXPECT_EQ(out[4], "invalid fen: a FEN needs 4 or 6 fields");
    EXPECT_EQ(out[5], "fen 8/8/8/4k3/8/8/8/4K3 w - - 0 1");
    EXPECT_EQ(out[7], "total cp 0");
}
