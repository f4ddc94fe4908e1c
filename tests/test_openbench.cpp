// "vireo bench" as OpenBench's worker reads it. The worker runs one copy of the bench per thread at
// once, decodes each output as UTF-8 (a decoding error fails the worker with "Failed to Execute
// Benchmark"), reads the lines from the bottom with every character that is not a letter or digit
// turned into a blank, and takes the first line matching its speed pattern and the first matching
// its node pattern, case-insensitively. Every copy must give the same node count. The reader below
// follows that rule, and is checked on output whose reading is known before it judges the engine's.
#include <gtest/gtest.h>
#include <cctype>
#include <cstdio>
#include <optional>
#include <regex>
#include <sstream>
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
        int length = lead < 0x80 ? 1 : lead >= 0xC2 && lead <= 0xDF ? 2 : lead >= 0xE0 && lead <= 0xEF ? 3
                   : lead >= 0xF0 && lead <= 0xF4 ? 4 : 0;
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

