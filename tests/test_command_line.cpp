// The command line through the real binary, as engine testers and GUIs use it: "vireo bench" and
// arguments the engine does not know.
#include <gtest/gtest.h>
#include <filesystem>
#include <regex>
#include <sys/stat.h>
#include <vireo_version.h>
#include "tests/engine_process.h"
#include "tests/scratch_dir.h"

namespace {
const std::regex SPEED_REPORT("(\\d+) nodes in \\d+ ms, speed = \\d+ nodes/s");
const std::regex TESTER_NODES("Nodes searched  : (\\d+)");
const std::string NOTICE_TAIL = "' (accepted: bench, -analyse=FILE, -score=FILE)";

struct BenchRun {
    int diagrams = 0, position_lines = 0;
    std::vector<std::string> bestmoves;
    std::string report; // the speed report line ("Nodes/second" on the command line), empty when none came
    std::string nodes;
};

// Reads a bench's output up to its speed report: the interactive command's one line, or the
// command line's "Nodes searched" and "Nodes/second" lines.
BenchRun readBench(EngineProcess& engine) {
    BenchRun run;
    std::string line;
    while (engine.readLine(line, 120000)) {
        std::smatch m;
        if (line.rfind("fen = ", 0) == 0) run.diagrams++;
        if (line.rfind("Position ", 0) == 0) run.position_lines++;
        if (line.rfind("bestmove ", 0) == 0) run.bestmoves.push_back(line);
        if (std::regex_match(line, m, TESTER_NODES)) run.nodes = m[1];
        if (line.rfind("Nodes/second    : ", 0) == 0) {
            run.report = line;
            break;
        }
        if (std::regex_match(line, m, SPEED_REPORT)) {
            run.report = line;
            run.nodes = m[1];
            break;
        }
    }
    return run;
}
} // namespace

TEST(CommandLine, BenchAsArgumentMatchesTheBenchCommand) {
    // A tester's harness may leave input waiting; it must not cut the command-line bench short.
    EngineProcess command_line({VIREO_BINARY, "bench"});
    command_line.send("isready");
    command_line.send("go infinite");
    BenchRun from_argument = readBench(command_line);
    std::string rest = command_line.readAll(10000);
    ASSERT_TRUE(command_line.waitExit(5000));
    EXPECT_TRUE(WIFEXITED(command_line.status()) && WEXITSTATUS(command_line.status()) == 0);
    EXPECT_EQ(rest, "") << "nothing after the report: the input is never read";
    EXPECT_EQ(from_argument.diagrams, 0) << "no diagrams for testers";
    EXPECT_EQ(from_argument.position_lines, 4);
    ASSERT_EQ(from_argument.bestmoves.size(), 4u);
    ASSERT_FALSE(from_argument.report.empty());

    EngineProcess interactive;
    interactive.skipBanner();
    interactive.send("bench");
    BenchRun from_command = readBench(interactive);
    interactive.send("quit");
    EXPECT_TRUE(interactive.waitExit(5000));
    EXPECT_EQ(from_command.diagrams, 4);
    EXPECT_EQ(from_command.position_lines, 0);
    EXPECT_EQ(from_argument.bestmoves, from_command.bestmoves);
    EXPECT_EQ(from_argument.nodes, from_command.nodes) << from_argument.report << " / " << from_command.report;
}

TEST(CommandLine, UnknownArgumentsAreNamedAndTheEngineStarts) {
    EngineProcess engine({VIREO_BINARY, "-xboard", "", "bench2"});
    std::vector<std::string> lines = engine.readUntil("info debug Creation of Transposition Table");
    ASSERT_EQ(lines.size(), 7u);
    EXPECT_EQ(lines[0], "Vireo " VIREO_VERSION " x64 ('quit' to exit)");
    EXPECT_EQ(lines[2], "info string Unknown argument '-xboard" + NOTICE_TAIL);
    EXPECT_EQ(lines[3], "info string Unknown argument '" + NOTICE_TAIL);
    EXPECT_EQ(lines[4], "info string Unknown argument 'bench2" + NOTICE_TAIL);
    engine.send("uci");
    EXPECT_EQ(engine.readUntil("uciok").size(), 5u);
    engine.send("position startpos moves e2e4");
    engine.send("go depth 3");
    std::vector<std::string> search = engine.readUntil("bestmove");
    ASSERT_FALSE(search.empty());
    EXPECT_EQ(search.back().rfind("bestmove ", 0), 0u);
    engine.send("quit");
    ASSERT_TRUE(engine.waitExit(5000));
    EXPECT_TRUE(WIFEXITED(engine.status()) && WEXITSTATUS(engine.status()) == 0);
}

TEST(CommandLine, TrainingToolsTakePrecedence) {
    ScratchDir dir;
    dir.write("positions.txt", "8/8/8/8/8/8/8/8 w - - 0 1;0\n");
    // Beside a training tool, other arguments (even "bench") are ignored without a notice.
    EngineProcess score({VIREO_BINARY, "bench", "--gui-flag", "-score=positions.txt", "-analyse=x"}, dir.path());
    EXPECT_EQ(score.readAll(), "Warning, 1 positions ignored\nSamples = 0, error = 0, mse = 0.000, rmse = 0.000\n");
    ASSERT_TRUE(score.waitExit(5000));
    EXPECT_TRUE(WIFEXITED(score.status()) && WEXITSTATUS(score.status()) == 0);
    EXPECT_FALSE(dir.exists("features.csv"));

    EngineProcess missing({VIREO_BINARY, "--gui-flag", "-analyse=missing.txt"}, dir.path());
    EXPECT_EQ(missing.readAll(), "");
    ASSERT_TRUE(missing.waitExit(5000));
    EXPECT_TRUE(WIFEXITED(missing.status()) && WEXITSTATUS(missing.status()) == 1);
}
