// The training tools through the real engine binary, in a scratch working directory:
// "-analyse=FILE" rows byte for byte, "-score=FILE" lines and summary, the rounding of the
// reference scores, ignored lines and files that cannot be opened.
#include <gtest/gtest.h>
#include <algorithm>
#include <sstream>
#include <string>
#include <unistd.h>
#include "tests/engine_run.h"
#include "engine/board/notation.h"

namespace {

std::string zeros(int n) {
    std::string s;
    for (int i = 0; i < n; i++) s += "0;";
    return s;
}

const char* const AFTER_E4 = "rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR b KQkq e3 0 1";

} // namespace

TEST(TrainingTools, AnalyseWritesFeatureRows) {
    ScratchDir dir;
    dir.write("positions.txt", std::string(START_FEN) + ";0.35\n" + AFTER_E4 + ";-0.25\n" +
                                   "4k3/8/8/r7/8/8/7R/4K3 b - - 0 1;0.1\n" +   // rook against rook: class 16
                                   "4k3/8/8/8/3n4/8/4P3/4K3 w - - 0 1 ; 1\n" + // knight against pawn: class -3
                                   "4k3/8/4K3/4P3/8/8/8/8 w - - 0 1;9.5\n" +   // three men: no class
                                   "7k/5K2/6Q1/8/8/8/P7/8 b - - 0 1;-20\n");   // stalemate: score 0, zeros
    // Stale rows of an earlier run are dropped.
    dir.write("features.csv", "old row\n");
    EngineRun r = runEngine(dir, "-analyse=positions.txt");
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out, "");
    std::istringstream rows(dir.read("features.csv"));
    std::string row;
    ASSERT_TRUE(std::getline(rows, row));
    EXPECT_EQ(row, zeros(127) + "35");
    ASSERT_TRUE(std::getline(rows, row));
    EXPECT_EQ(row.rfind("0;0;1;0;0;0;-1;0;", 0), 0u) << row;
    EXPECT_EQ(row.substr(row.size() - 15), "-4;0;0;0;-2;-25") << row;
    EXPECT_EQ(std::count(row.begin(), row.end(), ';'), 127);
    ASSERT_TRUE(std::getline(rows, row));
    EXPECT_EQ(row.rfind("16;0;0;", 0), 0u) << row;
    EXPECT_EQ(std::count(row.begin(), row.end(), ';'), 128);
    EXPECT_EQ(row.substr(row.size() - 3), ";10");
    ASSERT_TRUE(std::getline(rows, row));
    EXPECT_EQ(row.rfind("-3;0;0;", 0), 0u) << row;
    EXPECT_EQ(std::count(row.begin(), row.end(), ';'), 128);
    EXPECT_EQ(row.substr(row.size() - 4), ";100");
    ASSERT_TRUE(std::getline(rows, row));
    EXPECT_EQ(std::count(row.begin(), row.end(), ';'), 127);
    EXPECT_EQ(row.rfind("1;-1;", 0), 0u) << row;
    EXPECT_EQ(row.substr(row.size() - 4), ";950");
    ASSERT_TRUE(std::getline(rows, row));
    // The bare king's side to move owns the smaller signature: a negative class, then zeros.
    EXPECT_EQ(row.rfind("-", 0), 0u) << row;
    EXPECT_EQ(row.substr(row.find(';') + 1), zeros(127) + "0");
    EXPECT_FALSE(std::getline(rows, row));
}

TEST(TrainingTools, RoundingAndIgnoredLines) {
    ScratchDir dir;
    dir.write("positions.txt", std::string(START_FEN) + ";0.125\n" + START_FEN + ";-0.125\n" + START_FEN + ";1.005\n" +
                                   START_FEN + ";abc\n" +                    // no number
                                   START_FEN + "\n" +                        // no ";"
                                   "4k3/8/8/8/8/8/4r3/4K3 w - - 0 1;0.5\n" + // side to move in check
                                   "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBN w KQkq - 0 1;0.3\n" + // bad FEN
                                   START_FEN + ";400\n" +                             // 40000: beyond 16 bits
                                   START_FEN + ";-327.68\n" + START_FEN + ";327.67"); // limits, no final newline
    EngineRun r = runEngine(dir, "-analyse=positions.txt");
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out, "Warning, 5 positions ignored\n");
    EXPECT_EQ(dir.read("features.csv"), zeros(127) + "13\n" + zeros(127) + "-13\n" + zeros(127) + "100\n" + zeros(127) +
                                            "-32768\n" + zeros(127) + "32767\n");
}

TEST(TrainingTools, ScoreComparesWithTheReference) {
    ScratchDir dir;
    // The engine's own scores of two positions, then the same lines with references off by 7 and -3.
    dir.write("probe.txt", std::string(START_FEN) + ";0\n" + AFTER_E4 + ";0\n");
    EngineRun probe = runEngine(dir, "-score=probe.txt");
    int start_score = 0, e4_score = 0;
    if (probe.out.rfind("delta", 0) == 0) {
        std::istringstream lines(probe.out);
        std::string line;
        while (std::getline(lines, line)) {
            int d, v, s;
            if (sscanf(line.c_str(), "delta = %d, vireo = %d, stock = %d", &d, &v, &s) == 3)
                (line.find(AFTER_E4) != std::string::npos ? e4_score : start_score) = v;
        }
    }
    auto pawns = [](int cp) { return std::to_string(cp / 100.0); };
    std::string start_line = std::string(START_FEN) + ";" + pawns(start_score) + "\n";
    std::string e4_line = std::string(AFTER_E4) + ";" + pawns(e4_score - 7) + "\n";
    std::string e4_line2 = std::string(AFTER_E4) + ";" + pawns(e4_score + 3) + "\n";
    dir.write("positions.txt", start_line + e4_line + "garbage\n" + e4_line2);
    EngineRun r = runEngine(dir, "-score=positions.txt");
    EXPECT_EQ(r.status, 0);
    std::string expected =
        "delta = 7, vireo = " + std::to_string(e4_score) + ", stock = " + std::to_string(e4_score - 7) + " : " +
        e4_line + "delta = -3, vireo = " + std::to_string(e4_score) + ", stock = " + std::to_string(e4_score + 3) +
        " : " + e4_line2 + "Warning, 1 positions ignored\n" + "Samples = 3, error = 58, mse = 19.333, rmse = 4.397\n";
    EXPECT_EQ(r.out, expected);

    // Nothing usable: the summary with zeros.
    dir.write("empty.txt", "nothing here\n");
    r = runEngine(dir, "-score=empty.txt");
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out, "Warning, 1 positions ignored\nSamples = 0, error = 0, mse = 0.000, rmse = 0.000\n");
}

TEST(TrainingTools, UnopenableFiles) {
    ScratchDir dir;
    EngineRun r = runEngine(dir, "-score=missing.txt");
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err, "Cannot open 'missing.txt'\n");
    EXPECT_EQ(r.out, "");
    r = runEngine(dir, "-analyse=missing.txt");
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err, "Cannot open 'missing.txt'\n");
    EXPECT_FALSE(dir.exists("features.csv"));
    // An output file that cannot be created: a directory stands in its place.
    dir.write("positions.txt", std::string(START_FEN) + ";0.35\n");
    dir.makeDirectory("features.csv");
    r = runEngine(dir, "-analyse=positions.txt");
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err, "Cannot open 'features.csv'\n");
}

// A directory is no file of lines; the output is written only once the input is known to be
// readable, and never over the input itself.
TEST(TrainingTools, InputsThatAreNotFilesOfLines) {
    ScratchDir dir;
    dir.makeDirectory("folder");
    for (const std::string tool : {"-analyse=", "-score="}) {
        for (const std::string name : {"folder", "/tmp", "."}) {
            dir.write("features.csv", "rows of an earlier run\n");
            EngineRun r = runEngine(dir, tool + name);
            EXPECT_EQ(r.status, 1) << tool << name;
            EXPECT_EQ(r.err, "Cannot open '" + name + "'\n") << tool << name;
            EXPECT_EQ(r.out, "") << tool << name;
            EXPECT_EQ(dir.read("features.csv"), "rows of an earlier run\n") << tool << name;
        }
    }
    // Its own output as input: refused, and the file stays as it was, also through a link.
    std::string rows = std::string(START_FEN) + ";0.35\n";
    dir.write("features.csv", rows);
    ASSERT_EQ(link((dir.path() + "/features.csv").c_str(), (dir.path() + "/linked.txt").c_str()), 0);
    for (const std::string& name :
         std::vector<std::string>{"features.csv", "./features.csv", dir.path() + "/features.csv", "linked.txt"}) {
        EngineRun r = runEngine(dir, "-analyse=" + name);
        EXPECT_EQ(r.status, 1) << name;
        EXPECT_EQ(r.err, "Cannot open 'features.csv'\n") << name;
        EXPECT_EQ(dir.read("features.csv"), rows) << name;
    }
    // Scoring reads it without harm.
    EXPECT_EQ(runEngine(dir, "-score=features.csv").status, 0);
    EXPECT_EQ(dir.read("features.csv"), rows);
}
