// Tablebases through the engine binary: the option's report lines and log, a list of folders with
// empty parts, and a damaged table file that is refused before the library sees it.
#include <gtest/gtest.h>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <string>
#include <vector>
#include "tests/engine_run.h"
#include "tests/shared_data.h"

// Through the engine: the option's report lines, the log, a table file of the wrong size, and a
// quiet error stream when tables are released.
TEST(TablebaseE2E, SyzygyPathOption) {
    if (!haveSyzygy()) GTEST_SKIP() << "no Syzygy tables in " << syzygyDir();
    ScratchDir dir;
    dir.makeDirectory("bad");
    dir.write("bad/KQvK.rtbw", std::string(100, 'x')); // not 16 more than a multiple of 64
    dir.write("commands.txt", "setoption name SyzygyPath value " + syzygyDir() + "\n" +
                                  "position fen 4k3/8/8/r7/8/8/7R/4K3 w - - 0 1\ngo depth 2\n" +
                                  "setoption name SyzygyPath value " + dir.path() + "/bad\n" +
                                  "setoption name SyzygyPath value " + syzygyDir() + "\n" +
                                  "setoption name SyzygyPath value <empty>\nquit\n");
    EngineRun run = runEngine(dir, "", "commands.txt");
    ASSERT_EQ(run.status, 0);
    std::vector<std::string> reports;
    std::istringstream lines(run.out);
    for (std::string line; std::getline(lines, line);)
        if (line.find("Syzygy") != std::string::npos || line.find("tablebase") != std::string::npos)
            reports.push_back(line);
    // Fathom names the file with its suffix's own dot after the one of the format.
    EXPECT_EQ(reports, (std::vector<std::string>{"info debug Initialisation of Syzygy : failure",
                                                 "info debug Initialisation of Syzygy : success (4 pieces)",
                                                 "info string Incomplete tablebase file KQvK..rtbw",
                                                 "info debug Initialisation of Syzygy : failure",
                                                 "info debug Initialisation of Syzygy : success (4 pieces)",
                                                 "info debug Initialisation of Syzygy : failure"}));
    EXPECT_EQ(run.err, "Incomplete tablebase file KQvK..rtbw\n");
    EXPECT_EQ(dir.read("vireo.log"), "Syzygy ok\nSyzygy ok\n");
}

// The engine drops the empty parts of the list: it answers every search and loads the tables
// wherever a real folder remains.
TEST(TablebaseE2E, SyzygyPathWithEmptyParts) {
    if (!haveSyzygy()) GTEST_SKIP() << "no Syzygy tables in " << syzygyDir();
    ScratchDir dir;
    std::string commands;
    for (const std::string& value : {std::string(":"), std::string("::::"), std::string("/nonexistent:"),
                                     syzygyDir() + ":", "::" + syzygyDir() + "::/nonexistent:"})
        commands +=
            "setoption name SyzygyPath value " + value + "\nposition fen 4k3/8/8/r7/8/8/7R/4K3 w - - 0 1\ngo depth 2\n";
    dir.write("commands.txt", commands + "quit\n");
    EngineRun run = runEngine(dir, "", "commands.txt");
    ASSERT_EQ(run.status, 0) << run.err;
    std::vector<std::string> reports;
    std::istringstream lines(run.out);
    int answers = 0;
    for (std::string line; std::getline(lines, line);) {
        if (line.find("Syzygy") != std::string::npos) reports.push_back(line);
        if (line.rfind("bestmove ", 0) == 0) answers++;
    }
    EXPECT_EQ(reports, (std::vector<std::string>{"info debug Initialisation of Syzygy : failure",
                                                 "info debug Initialisation of Syzygy : failure",
                                                 "info debug Initialisation of Syzygy : failure",
                                                 "info debug Initialisation of Syzygy : failure",
                                                 "info debug Initialisation of Syzygy : success (4 pieces)",
                                                 "info debug Initialisation of Syzygy : success (4 pieces)"}));
    EXPECT_EQ(answers, 5);
    EXPECT_EQ(run.err, "");
}

// Through the engine: a table file with the right magic number and size but random bytes after it
// would crash the engine at its first probe; the path is refused with the file named, and the
// engine keeps playing without tables. The tables are copied: the shared ones stay untouched.
TEST(TablebaseE2E, DamagedTableFileIsRefused) {
    if (!haveSyzygy()) GTEST_SKIP() << "no Syzygy tables in " << syzygyDir();
    ScratchDir dir;
    dir.makeDirectory("tables");
    std::string tables = dir.path() + "/tables";
    for (const auto& entry : std::filesystem::directory_iterator(syzygyDir()))
        std::filesystem::copy_file(entry.path(), tables + "/" + entry.path().filename().string());
    std::string good = fileBytes(tables + "/KQvK.rtbw");
    std::mt19937 random(9);
    for (int round = 0; round < 5; round++) {
        std::string noise = good;
        for (size_t i = 4; i < noise.size(); i++) noise[i] = char(random());
        writeBytes(tables + "/KQvK.rtbw", noise);
        dir.write("commands.txt", "setoption name SyzygyPath value " + tables + "\n" +
                                      "position fen 8/8/8/4k3/8/8/1Q6/4K3 w - - 0 1\ngo depth 4\n" +
                                      "position fen 8/8/8/4k3/8/8/1Q6/4K3 b - - 0 1\ngo depth 4\nquit\n");
        EngineRun run = runEngine(dir, "", "commands.txt");
        EXPECT_EQ(run.status, 0) << "round " << round << ": " << run.err;
        EXPECT_NE(run.out.find("info string Damaged tablebase file " + tables + "/KQvK.rtbw: "), std::string::npos)
            << run.out;
        EXPECT_NE(run.out.find("info debug Initialisation of Syzygy : failure"), std::string::npos);
        EXPECT_EQ(run.out.find("Initialisation of Syzygy : success"), std::string::npos);
        size_t answers = 0;
        for (size_t at = run.out.find("bestmove "); at != std::string::npos; at = run.out.find("bestmove ", at + 1))
            answers++;
        EXPECT_EQ(answers, 2u) << "round " << round;
    }
    // Put right again, the same folder loads.
    writeBytes(tables + "/KQvK.rtbw", good);
    dir.write("commands.txt", "setoption name SyzygyPath value " + tables + "\nquit\n");
    EngineRun run = runEngine(dir, "", "commands.txt");
    EXPECT_NE(run.out.find("info debug Initialisation of Syzygy : success (4 pieces)"), std::string::npos) << run.out;
    EXPECT_EQ(run.out.find("Damaged"), std::string::npos) << run.out;
}
