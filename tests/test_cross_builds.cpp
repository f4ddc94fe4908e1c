// The Windows and ARM64 builds, run here as their users run them: the .exe under Wine, started
// through a relay that gives it a real Windows pipe as a GUI on Windows does (a Unix pipe cannot be
// peeked there, so no "stop" could reach a search), and the ARM64 engine under qemu. Each must
// answer as the Linux build does, byte for byte, and count the same nodes.
#include <gtest/gtest.h>
#include <cstdlib>
#include <memory>
#include <regex>
#include "tests/engine_process.h"
#include "tests/scratch_dir.h"
#include "tests/shared_data.h"

namespace {
const std::regex TESTER_NODES("Nodes searched  : (\\d+)");

// Wine's drive Z: is the root of the Unix file system.
std::string windowsPath(const std::string& unix_path) {
    std::string path = "Z:" + unix_path;
    for (char& c : path)
        if (c == '/') c = '\\';
    return path;
}

// Why the Windows engine cannot run here; empty when it can.
std::string windowsMissing() {
    if (!*VIREO_WINDOWS_BINARY)
        return "no Windows build: install mingw-w64 and Fathom's source (tools/install-deps.sh)";
    if (!*WINE_PROGRAM) return "Wine is not installed (Debian: apt-get install wine wine64)";
    return "";
}

std::vector<std::string> windowsCommand(std::vector<std::string> arguments = {}) {
    // The prefix that the WineStart test made, shared by every test of this suite.
    setenv("WINEPREFIX", VIREO_BUILD_DIR "/wineprefix", 1);
    setenv("WINEDEBUG", "-all", 1);
    std::vector<std::string> command = {WINE_PROGRAM, VIREO_WINDOWS_RELAY, windowsPath(VIREO_WINDOWS_BINARY)};
    command.insert(command.end(), arguments.begin(), arguments.end());
    return command;
}

std::vector<std::string> arm64Command(std::vector<std::string> arguments = {}) {
    std::vector<std::string> command = {QEMU_AARCH64, VIREO_ARM64_BINARY};
    command.insert(command.end(), arguments.begin(), arguments.end());
    return command;
}

// Everything an engine prints for the given input lines, its input then closed; the figures that
// depend on the clock ("time", "nps", the time and speed of a perft report) are blanked, the
// counts kept.
std::string answer(const std::vector<std::string>& command, const std::vector<std::string>& input,
                   const std::string& dir = "") {
    EngineProcess engine(command, dir);
    for (const std::string& line : input) engine.send(line);
    engine.closeInput();
    std::string all = engine.readAll(120000);
    all = std::regex_replace(all, std::regex(" time \\d+"), " time T");
    all = std::regex_replace(all, std::regex(" nps \\d+"), " nps S");
    return std::regex_replace(all, std::regex("(\\d+) nodes in \\d+ ms, speed = \\d+"), "$1 nodes in T ms, speed = S");
}

// The "Nodes searched" of "PROGRAM bench" on the command line.
std::string benchNodes(const std::vector<std::string>& command) {
    EngineProcess engine(command);
    std::smatch m;
    std::string all = engine.readAll(180000);
    return std::regex_search(all, m, TESTER_NODES) ? m[1].str() : "none in:\n" + all;
}

std::string nativeBenchNodes() {
    static std::string nodes = benchNodes({VIREO_BINARY, "bench"});
    return nodes;
}

class Windows : public testing::Test {
protected:
    void SetUp() override {
        if (std::string why = windowsMissing(); !why.empty()) GTEST_SKIP() << why;
    }
};

class Arm64 : public testing::Test {
protected:
    void SetUp() override {
        if (!*VIREO_ARM64_BINARY)
            GTEST_SKIP() << "no ARM64 build: install g++-aarch64-linux-gnu and Fathom's source (tools/install-deps.sh)";
        if (!*QEMU_AARCH64) GTEST_SKIP() << "qemu is not installed (Debian: apt-get install qemu-user)";
    }
};
} // namespace

TEST_F(Windows, AnswersAsTheLinuxBuildDoes) {
    // Start-up, "uci", a depth search with its info lines, a bad position that leaves the current
    // one in place, a search from it, and perft: the same bytes ("\n" line ends, no "\r").
    std::vector<std::string> input = {"uci",
                                      "isready",
                                      "position startpos moves e2e4",
                                      "go depth 8",
                                      "position fen 8/8/8/8/8/8/8/8 w - - 0 1",
                                      "position startpos moves e2e4 e7e5 e1e3",
                                      "go depth 3",
                                      "perft 4",
                                      "quit"};
    std::string linux_answer = answer({VIREO_BINARY}, input);
    EXPECT_NE(linux_answer.find("info string Invalid position"), std::string::npos) << linux_answer;
    EXPECT_EQ(answer(windowsCommand(), input), linux_answer);
}

TEST_F(Windows, StopAndIsreadyEndAnInfiniteSearch) {
    EngineProcess engine(windowsCommand());
    engine.skipBanner();
    for (const char* command : {"stop", "isready"}) {
        engine.send("position startpos");
        engine.send("go infinite");
        std::string line;
        ASSERT_TRUE(engine.readLine(line, 10000)) << "the search never reported";
        usleep(300000);
        uint64_t sent = clockMs();
        engine.send(command);
        std::vector<std::string> lines = engine.readUntil("bestmove ", 5000);
        ASSERT_FALSE(lines.empty());
        EXPECT_EQ(lines.back().rfind("bestmove ", 0), 0u) << command << " did not end the search";
        EXPECT_LT(clockMs() - sent, 2000u) << command;
        if (std::string(command) == "isready") {
            EXPECT_EQ(engine.readUntil("readyok", 5000).back(), "readyok");
        }
    }
    engine.send("quit");
    EXPECT_TRUE(engine.waitExit(10000));
}

TEST_F(Windows, BenchCountsTheLinuxNodes) { EXPECT_EQ(benchNodes(windowsCommand({"bench"})), nativeBenchNodes()); }

TEST_F(Windows, ProbesTheSyzygyTables) {
    if (!haveSyzygy()) GTEST_SKIP() << "no Syzygy tables in " << syzygyDir();
    ScratchDir scratch; // loading the tables appends to "vireo.log"
    // Lists are split at ";" on Windows: a missing directory before the tables does no harm.
    std::string list = windowsPath("/nonexistent/vireo") + ";" + windowsPath(syzygyDir());
    std::vector<std::string> input = {"setoption name SyzygyPath value " + list,
                                      "position fen 8/8/8/4k3/8/8/8/KQ6 w - - 0 1",
                                      "go depth 6",
                                      "position fen 4k3/8/8/r7/8/8/7R/4K3 w - - 0 1",
                                      "go depth 6",
                                      "quit"};
    std::string windows_answer = answer(windowsCommand(), input, scratch.path());
    EXPECT_NE(windows_answer.find("info debug Initialisation of Syzygy : success (4 pieces)\n"), std::string::npos)
        << windows_answer;
    input[0] = "setoption name SyzygyPath value " + syzygyDir();
    std::string linux_answer = answer({VIREO_BINARY}, input, scratch.path());
    EXPECT_EQ(windows_answer, linux_answer);
}

TEST_F(Windows, AnalyseNeverWritesOverItsInput) {
    // The C library's file identity (inode numbers) is empty on Windows: the engine compares the
    // volume and file index instead.
    ScratchDir scratch;
    const std::string positions = "4k3/8/8/8/8/8/8/R3K3 w Q - 0 1;5.0\n";
    scratch.write("features.csv", positions);
    EngineProcess engine(windowsCommand({"-analyse=features.csv"}), scratch.path());
    engine.readAll(30000);
    ASSERT_TRUE(engine.waitExit(10000));
    EXPECT_EQ(WEXITSTATUS(engine.status()), 1);
    EXPECT_EQ(scratch.read("features.csv"), positions);
}

TEST_F(Arm64, PerftCountsThePublishedNumbers) {
    // The start position and the well-known test positions, with their published counts.
    struct Case {
        const char* fen;
        int depth;
        const char* nodes;
    };
    const Case cases[] = {
        {"rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1", 5, "4865609"},
        {"r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1", 4, "4085603"},
        {"8/2p5/3p4/KP5r/1R3p1k/8/4P1P1/8 w - - 0 1", 5, "674624"},
        {"r3k2r/Pppp1ppp/1b3nbN/nP6/BBP1P3/q4N2/Pp1P2PP/R2Q1RK1 w kq - 0 1", 4, "422333"},
        {"rnbq1k1r/pp1Pbppp/2p5/8/2B5/8/PPP1NnPP/RNBQK2R w KQ - 1 8", 4, "2103487"},
    };
    EngineProcess engine(arm64Command());
    engine.skipBanner();
    for (const Case& c : cases) {
        engine.send(std::string("position fen ") + c.fen);
        engine.send("perft " + std::to_string(c.depth));
        std::vector<std::string> lines = engine.readUntil(std::string(c.nodes) + " nodes in ", 60000);
        ASSERT_FALSE(lines.empty());
        EXPECT_EQ(lines.back().rfind(std::string(c.nodes) + " nodes in ", 0), 0u) << c.fen << ": " << lines.back();
    }
    engine.send("quit");
}

TEST_F(Arm64, BenchCountsTheLinuxNodes) {
    EXPECT_EQ(benchNodes(arm64Command({"bench"})), nativeBenchNodes());
    // No x86 instruction set on this processor: the report still comes, empty.
    EXPECT_NE(answer(arm64Command(), {"quit"}).find("\ninfo debug Supported instructions : \n"), std::string::npos);
}
