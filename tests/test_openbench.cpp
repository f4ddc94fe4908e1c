// "vireo bench" as OpenBench's worker reads it. The worker runs one copy of the bench per thread at
// once, decodes each output as UTF-8 (a decoding error fails the worker with "Failed to Execute
// Benchmark"), reads the lines from the bottom with every character that is not a letter or digit
// turned into a blank, and takes the first line matching its speed pattern and the first matching
// its node pattern, case-insensitively. Every copy must give the same node count. The reader below
// follows that rule, and is checked on output whose reading is known before it judges the engine's.
#include <gtest/gtest.h>
#include <cctype>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <regex>
#include <set>
#include <sstream>
#include "tests/engine_process.h"
#include "tests/scratch_dir.h"

namespace {
struct BenchReading {
    std::string error; // why the output cannot be read at all; empty when it can
    std::optional<uint64_t> nodes, speed;
};

// Strict UTF-8 as a decoder that refuses invalid input: no stray continuation bytes, no truncated,
// overlong or surrogate sequences, nothing above U+10FFFF. Empty on failure, with the offset.
std::optional<std::u32string> decodeUtf8(const std::string& bytes, size_t& bad_offset) {
    std::u32string text;
    for (size_t i = 0; i < bytes.size();) {
        unsigned char lead = (unsigned char)bytes[i];
        int length = lead < 0x80                    ? 1
                     : lead >= 0xC2 && lead <= 0xDF ? 2
                     : lead >= 0xE0 && lead <= 0xEF ? 3
                     : lead >= 0xF0 && lead <= 0xF4 ? 4
                                                    : 0;
        unsigned char low = 0x80, high = 0xBF; // allowed range of the second byte
        if (lead == 0xE0) low = 0xA0;
        if (lead == 0xED) high = 0x9F;
        if (lead == 0xF0) low = 0x90;
        if (lead == 0xF4) high = 0x8F;
        bad_offset = i;
        if (length == 0 || i + length > bytes.size()) return std::nullopt;
        char32_t point = length == 1 ? lead : lead & (0x7F >> length);
        for (int k = 1; k < length; k++) {
            unsigned char next = (unsigned char)bytes[i + k];
            if (next < (k == 1 ? low : 0x80) || next > (k == 1 ? high : 0xBF)) return std::nullopt;
            point = point << 6 | (next & 0x3F);
        }
        text += point;
        i += length;
    }
    return text;
}

// The number inside the first match of the pattern in the line, if any.
std::optional<uint64_t> numberMatched(const std::string& line, const std::regex& pattern) {
    std::smatch found;
    if (!std::regex_search(line, found, pattern)) return std::nullopt;
    std::string text = found.str();
    size_t digits = text.find_first_of("0123456789");
    return std::stoull(text.substr(digits, text.find_first_not_of("0123456789", digits) - digits));
}

BenchReading readLikeOpenBench(const std::string& output) {
    static const std::regex SPEED("(\\d+\\s+nps)|(nps\\s+\\d+)|(nodes second\\s+\\d+)", std::regex::icase);
    static const std::regex NODES("(\\d+\\s+nodes)|(nodes\\s+\\d+)|(nodes searched\\s+\\d+)", std::regex::icase);
    BenchReading reading;
    size_t bad_offset = 0;
    std::optional<std::u32string> text = decodeUtf8(output, bad_offset);
    if (!text) {
        char byte[8];
        snprintf(byte, sizeof byte, "0x%02x", (unsigned char)output[bad_offset]);
        reading.error = std::string("not UTF-8: byte ") + byte + " at offset " + std::to_string(bad_offset);
        return reading;
    }
    std::vector<std::string> lines(1);
    for (char32_t c : *text) {
        if (c == U'\n') lines.emplace_back();
        else lines.back() += c < 0x80 && std::isalnum((int)c) ? char(c) : ' ';
    }
    for (auto line = lines.rbegin(); line != lines.rend(); ++line) {
        if (!reading.speed) reading.speed = numberMatched(*line, SPEED);
        if (!reading.nodes) reading.nodes = numberMatched(*line, NODES);
    }
    return reading;
}

struct BenchCopy {
    std::string out, err;
    int status;
};

// Runs "vireo bench" in the given number of copies at once, as a worker with that many threads does.
std::vector<BenchCopy> runBenchCopies(int copies) {
    ScratchDir dir;
    std::string script = "cd '" + dir.path() + "' || exit 1; ";
    for (int i = 0; i < copies; i++)
        script += "('" VIREO_BINARY "' bench > out" + std::to_string(i) + " 2> err" + std::to_string(i) +
                  "; echo $? > status" + std::to_string(i) + ") & ";
    script += "wait";
    EXPECT_EQ(std::system(script.c_str()), 0) << script;
    std::vector<BenchCopy> runs;
    for (int i = 0; i < copies; i++) {
        std::string n = std::to_string(i), status = dir.read("status" + n);
        runs.push_back({dir.read("out" + n), dir.read("err" + n), status.empty() ? -1 : std::stoi(status)});
    }
    return runs;
}
} // namespace

TEST(OpenBench, ReaderOnKnownOutputs) {
    // The tail of "stockfish bench", the form engine testers know and OpenBench reads.
    BenchReading stockfish = readLikeOpenBench("Total time (ms) : 3013\nNodes searched  : 2030154\n"
                                               "Nodes/second    : 673798\n");
    EXPECT_EQ(stockfish.error, "");
    EXPECT_EQ(stockfish.nodes, 2030154u);
    EXPECT_EQ(stockfish.speed, 673798u);

    // A report with "nodes/s" instead of "nps": the node count is read from it, but the speed
    // comes from the last search line above, and is its node count ("543215 nps" matches first).
    BenchReading per_second = readLikeOpenBench("info depth 12 time 391 nodes 543215 nps 1389000\nbestmove d7d3\n"
                                                "3472846 nodes in 3151 ms, speed = 1102000 nodes/s\n");
    EXPECT_EQ(per_second.nodes, 3472846u);
    EXPECT_EQ(per_second.speed, 543215u);

    // A board diagram in code page 437 is not UTF-8, so nothing is read; real UTF-8 is.
    EXPECT_EQ(readLikeOpenBench(" 8 \xB3 r  b \n1 nodes 2 nps\n").error, "not UTF-8: byte 0xb3 at offset 3");
    EXPECT_EQ(readLikeOpenBench("1 nodes 2 nps \xE2\x94\x82\n").error, "");
    EXPECT_NE(readLikeOpenBench("\xC0\x80").error, "") << "overlong";
    EXPECT_NE(readLikeOpenBench("\xED\xA0\x80").error, "") << "surrogate";
    EXPECT_NE(readLikeOpenBench("\xE2\x94").error, "") << "truncated";
    EXPECT_NE(readLikeOpenBench("\xF4\x90\x80\x80").error, "") << "above U+10FFFF";

    // Letters and digits only: "Nodes-searched:5" reads as "Nodes searched 5".
    BenchReading punctuated = readLikeOpenBench("Nodes-searched:5\nNPS=7\n");
    EXPECT_EQ(punctuated.nodes, 5u);
    EXPECT_EQ(punctuated.speed, 7u);
    EXPECT_FALSE(readLikeOpenBench("bestmove e2e4\n").nodes);
}

TEST(OpenBench, ReadsTheNodesAndSpeedOfTheCommandLineBench) {
    static const std::regex NODES_LINE("Nodes searched  : (\\d+)"), SPEED_LINE("Nodes/second    : (\\d+)");
    std::vector<BenchCopy> copies = runBenchCopies(2);
    for (const BenchCopy& copy : copies) {
        EXPECT_EQ(copy.status, 0);
        EXPECT_EQ(copy.err, "");
        BenchReading reading = readLikeOpenBench(copy.out);
        ASSERT_EQ(reading.error, "");
        for (unsigned char c : copy.out) ASSERT_LT(c, 0x80) << "the output is plain ASCII";
        // The report's own last two lines give the numbers the reader must find.
        std::vector<std::string> lines;
        std::istringstream stream(copy.out);
        for (std::string line; std::getline(stream, line);) lines.push_back(line);
        ASSERT_GE(lines.size(), 2u);
        std::smatch nodes, speed;
        ASSERT_TRUE(std::regex_match(lines[lines.size() - 2], nodes, NODES_LINE)) << lines[lines.size() - 2];
        ASSERT_TRUE(std::regex_match(lines.back(), speed, SPEED_LINE)) << lines.back();
        EXPECT_EQ(reading.nodes, std::stoull(nodes[1]));
        EXPECT_EQ(reading.speed, std::stoull(speed[1]));
    }
    EXPECT_EQ(readLikeOpenBench(copies[0].out).nodes, readLikeOpenBench(copies[1].out).nodes)
        << "copies run at once count the same";
}

// The committed engine configuration of an OpenBench instance asks only for what the engine offers:
// its presets' options are the engine's own (and "Threads=1", which the test form names and which
// a one-thread engine only answers with a notice), table sizes it accepts, clock time controls (it
// has no "go nodes"), and the build folder holds the Makefile that workers run.
TEST(OpenBench, ConfigurationAsksOnlyForWhatTheEngineOffers) {
    std::ifstream file(std::string(VIREO_SOURCE_DIR) + "/bench/openbench/Vireo.json");
    ASSERT_TRUE(file) << "bench/openbench/Vireo.json";
    std::string config((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());

    // JSON as far as hand edits go wrong: balanced brackets outside strings, no trailing commas.
    std::string nesting;
    bool in_string = false;
    for (size_t i = 0; i < config.size(); i++) {
        char c = config[i];
        if (in_string) {
            if (c == '\\') i++;
            else if (c == '"') in_string = false;
        } else if (c == '"') in_string = true;
        else if (c == '{' || c == '[') nesting += c;
        else if (c == '}' || c == ']') {
            ASSERT_FALSE(nesting.empty()) << "unbalanced at offset " << i;
            ASSERT_EQ(nesting.back(), c == '}' ? '{' : '[') << "mismatched at offset " << i;
            nesting.pop_back();
        }
    }
    EXPECT_TRUE(nesting.empty() && !in_string);
    EXPECT_FALSE(std::regex_search(config, std::regex(",\\s*[}\\]]"))) << "trailing comma";

    EngineProcess engine;
    engine.skipBanner();
    engine.send("uci");
    std::set<std::string> offered;
    std::smatch m;
    static const std::regex OPTION("option name (\\S+) type .*");
    for (const std::string& line : engine.readUntil("uciok"))
        if (std::regex_match(line, m, OPTION)) offered.insert(m[1]);
    engine.send("quit");
    ASSERT_EQ(offered, (std::set<std::string>{"Hash", "SyzygyPath"}));

    static const std::regex OPTIONS_FIELD("\"\\w*options\"\\s*:\\s*\"([^\"]*)\"");
    static const std::regex TIME_FIELD("\"\\w*time_control\"\\s*:\\s*\"([^\"]*)\"");
    int options_fields = 0, time_fields = 0;
    for (auto it = std::sregex_iterator(config.begin(), config.end(), OPTIONS_FIELD); it != std::sregex_iterator();
         ++it) {
        options_fields++;
        std::istringstream words((*it)[1].str());
        for (std::string word; words >> word;) {
            size_t equals = word.find('=');
            ASSERT_NE(equals, std::string::npos) << word;
            std::string name = word.substr(0, equals), value = word.substr(equals + 1);
            if (name == "Threads") {
                EXPECT_EQ(value, "1") << "the engine plays on one thread";
                continue;
            }
            EXPECT_TRUE(offered.count(name)) << "option " << name << " is not the engine's";
            if (name == "Hash") {
                unsigned long mb = std::stoul(value);
                EXPECT_TRUE(mb >= 1 && mb <= 65536 && (mb & (mb - 1)) == 0) << word;
            }
        }
    }
    for (auto it = std::sregex_iterator(config.begin(), config.end(), TIME_FIELD); it != std::sregex_iterator(); ++it) {
        time_fields++;
        EXPECT_TRUE(std::regex_match((*it)[1].str(), std::regex("\\d+(\\.\\d+)?\\+\\d+(\\.\\d+)?"))) << (*it)[1];
    }
    EXPECT_GT(options_fields, 0);
    EXPECT_GT(time_fields, 0);
    EXPECT_TRUE(std::regex_search(config, m, std::regex("\"nps\"\\s*:\\s*(\\d+)")) && std::stoull(m[1]) > 0);
    ASSERT_TRUE(std::regex_search(config, m, std::regex("\"path\"\\s*:\\s*\"([^\"]*)\"")));
    std::string folder = std::string(VIREO_SOURCE_DIR) + "/" + m[1].str();
    EXPECT_TRUE(std::ifstream(folder + "/Makefile").good()) << folder;

    // The instruction sets that x86-64-v2 assumes, as the worker names them, and both systems the
    // Makefile builds on. No tuning (the engine has no options to tune) and no data generation
    // (the worker would first ask for "genfens", which the engine does not have).
    for (const char* flag : {"\"POPCNT\"", "\"SSSE3\"", "\"SSE41\"", "\"SSE42\""})
        EXPECT_NE(config.find(flag), std::string::npos) << flag;
    EXPECT_TRUE(std::regex_search(config, std::regex("\"systems\"\\s*:\\s*\\[\"Linux\", \"Windows\"\\]")));
    EXPECT_TRUE(std::regex_search(config, std::regex("\"compilers\"\\s*:\\s*\\[\"g\\+\\+>=\\d+\\.\\d+\\.\\d+\"\\]")));
    EXPECT_EQ(config.find("tune_presets"), std::string::npos);
    EXPECT_EQ(config.find("datagen_presets"), std::string::npos);
}

namespace {
// The text a command prints on its standard output.
std::string outputOf(const std::string& command) {
    std::string text;
    if (FILE* pipe = popen(command.c_str(), "r")) {
        char buffer[4096];
        for (size_t n; (n = fread(buffer, 1, sizeof buffer, pipe)) > 0;) text.append(buffer, n);
        pclose(pipe);
    }
    return text;
}

std::optional<uint64_t> nativeBenchNodes() {
    static std::optional<uint64_t> nodes = readLikeOpenBench(runBenchCopies(1)[0].out).nodes;
    return nodes;
}
} // namespace

// A worker reads the bench count of a commit from its message alone: the last match of
// (BENCH|NODES)[ :=]+N in the upper-cased message. The commit tested must name the engine's count.
TEST(OpenBench, HeadCommitNamesTheBenchCount) {
    std::string message = outputOf("git -C '" VIREO_SOURCE_DIR "' log -1 --format=%B 2>/dev/null");
    if (message.empty()) GTEST_SKIP() << "not a git checkout: no commit message to read";
    for (char& c : message) c = char(std::toupper((unsigned char)c));
    static const std::regex COUNT("(BENCH|NODES)[ :=]+(\\d+)");
    std::optional<uint64_t> named;
    for (auto it = std::sregex_iterator(message.begin(), message.end(), COUNT); it != std::sregex_iterator(); ++it)
        named = std::stoull((*it)[2]);
    ASSERT_TRUE(named) << "the head commit's message names no bench count; end it with \"Bench: N\"";
    EXPECT_EQ(named, nativeBenchNodes()) << "the head commit names another count than the engine's";
}

// A worker has make and a compiler, neither cmake nor apt: "make EXE=name" builds the engine with the
// compiler alone, with Fathom where it is installed and without tablebases where it is not, and the
// engine it builds counts the nodes of the CMake build.
TEST(OpenBench, MakeBuildsWithTheCompilerAlone) {
    if (!*MAKE_PROGRAM) GTEST_SKIP() << "make is not installed (Debian: apt-get install make)";
    ScratchDir dir;
    // The sources as a fresh clone has them, and a cmake first on the PATH that only notes its call.
    std::string source = dir.path() + "/source";
    dir.makeDirectory("source");
    for (const char* entry :
         {"Makefile", "CMakeLists.txt", "platform", "engine", "sliders", "transposition", "evaluation"})
        std::filesystem::copy(std::string(VIREO_SOURCE_DIR) + "/" + entry, source + "/" + entry,
                              std::filesystem::copy_options::recursive);
    dir.makeDirectory("bin");
    dir.write("bin/cmake", "#!/bin/sh\ntouch \"$(dirname \"$0\")/called\"\nexit 1\n");
    std::filesystem::permissions(dir.path() + "/bin/cmake", std::filesystem::perms::owner_all);
    std::string make = "cd '" + source + "' && PATH='" + dir.path() + "/bin':\"$PATH\" '" MAKE_PROGRAM "' -j2 ";

    struct Build {
        const char* exe;
        const char* settings;
        const char* tables; // what the build says of its tablebases
        const char* syzygy; // the first answer to a SyzygyPath of a real directory
    };
    const Build builds[] = {
        {"vireo-ob", "FATHOM=no", "tablebases: none (no Fathom)",
         "info string This build of Vireo has no tablebase support: SyzygyPath is ignored"},
        {"vireo-fathom", "", "tablebases: Fathom (system)", "info debug Initialisation of Syzygy : "},
    };
    for (const Build& build : builds) {
        std::string said = outputOf(make + "EXE=" + build.exe + " " + build.settings + " 2>&1");
        ASSERT_NE(said.find(build.tables), std::string::npos) << said;
        EXPECT_FALSE(dir.exists("bin/called")) << "make called cmake";
        std::string exe = source + "/" + build.exe;
        EXPECT_EQ(readLikeOpenBench(outputOf("'" + exe + "' bench")).nodes, nativeBenchNodes()) << build.exe;

        EngineProcess engine({exe});
        engine.skipBanner();
        engine.send("setoption name SyzygyPath value " + dir.path());
        std::string line;
        ASSERT_TRUE(engine.readLine(line));
        EXPECT_EQ(line.rfind(build.syzygy, 0), 0u) << line;
        engine.send("quit");
    }
}
