// Writes random UCI input for the engine, as a confused or hostile interface might send it: good and
// mangled positions and move lists, "go" with odd numbers, table sizes and tablebase paths that
// cannot work, token soup, control bytes and overlong lines. The same seed gives the same lines.
// bench/fuzz_uci.sh feeds them to the sanitizer build.
//
//   fuzz_uci [--seed N] [--lines N] [--tables DIR] [--damaged DIR]   (or --seed=N ...)
//
// --tables names a folder of good Syzygy tables, --damaged one with a damaged file; both turn up
// among the SyzygyPath values. The last line is always "quit".
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "option_values.h"

namespace {

std::mt19937_64 rng;

size_t below(size_t n) { return n ? size_t(rng() % n) : 0; }
bool chance(int percent) { return int(below(100)) < percent; }
template <typename T>
const T& pick(const std::vector<T>& from) {
    return from[below(from.size())];
}

const std::vector<std::string> FENS = {
    "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1",
    "r1bq1rk1/pp2bppp/2n1pn2/3p4/2PP4/2N1PN2/PP3PPP/R2QKB1R w KQ - 0 9",
    "r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1",
    "rnbqkbnr/ppp1p1pp/8/3pPp2/8/8/PPPP1PPP/RNBQKBNR w KQkq f6 0 3",
    "8/2p5/3p4/KP5r/1R3p1k/8/4P1P1/8 w - - 0 1",
    "8/8/8/4k3/8/8/1Q6/4K3 w - - 0 1",
    "4k3/8/8/r7/8/8/7R/4K3 w - - 0 1",
    "8/8/4k3/8/2q5/8/3QK3/8 b - - 0 1",
    "8/8/8/3k4/8/8/2PK4/8 w - - 0 1",
    "8/4k3/8/8/3PP3/8/8/4K3 w - - 0 1",
    "6k1/5ppp/8/8/8/8/5PPP/R5K1 w - - 0 1",
    "7k/5Q2/6K1/8/8/8/8/8 b - - 0 1",
    "R5k1/5ppp/8/8/8/8/5PPP/6K1 b - - 0 1",
    "4k3/8/8/8/8/8/8/4K2R w K - 0 1",
    "8/8/8/4k3/8/8/8/4K3 w - - 0 1",
};
const std::vector<std::string> MOVES = {"e2e4", "e7e5", "g1f3", "b8c6",  "f1b5",  "a7a6",  "b5a4", "g8f6",  "e1g1",
                                        "f8e7", "d2d4", "d7d5", "c2c4",  "e7e8q", "a2a1n", "e1c1", "h7h8r", "0000",
                                        "e2e5", "a1a1", "zz99", "e2e4e", "E2E4",  "e2-e4", "b1c3"};
const std::vector<std::string> WORDS = {
    "position", "fen",       "startpos",  "moves",      "go",         "depth",   "movetime", "wtime",       "btime",
    "winc",     "binc",      "movestogo", "infinite",   "ponder",     "nodes",   "mate",     "searchmoves", "setoption",
    "name",     "value",     "Hash",      "SyzygyPath", "ucinewgame", "isready", "uci",      "stop",        "perft",
    "debug",    "ponderhit", "register",  "w",          "b",          "-",       "KQkq",     "e3",          "8",
    "/",        "<empty>",   "x",         "",           " ",          "\t"};
const std::vector<std::string> NUMBERS = {"0",
                                          "1",
                                          "2",
                                          "3",
                                          "5",
                                          "10",
                                          "50",
                                          "100",
                                          "999",
                                          "-1",
                                          "-50",
                                          "-2147483648",
                                          "2147483647",
                                          "2147483648",
                                          "4294967295",
                                          "4294967296",
                                          "9223372036854775807",
                                          "18446744073709551615",
                                          "99999999999999999999999",
                                          "1e3",
                                          "0x10",
                                          "+5",
                                          "-0",
                                          "007",
                                          "x",
                                          "",
                                          "3.5",
                                          " 12"};

std::string number() {
    if (chance(60)) return std::to_string(int64_t(below(2000)) - 100);
    return pick(NUMBERS);
}

// A FEN with a few of its bytes changed, dropped or doubled, or its fields cut or scrambled.
std::string mangledFen() {
    std::string fen = pick(FENS);
    int changes = chance(40) ? 0 : 1 + int(below(4));
    const char* alphabet = "pnbrqkPNBRQK12345678/ -wbKQkqa-h09x\t";
    for (int i = 0; i < changes && !fen.empty(); i++) {
        size_t at = below(fen.size());
        switch (below(5)) {
        case 0: fen[at] = alphabet[below(strlen(alphabet))]; break;
        case 1: fen.erase(at, 1); break;
        case 2: fen.insert(at, 1, alphabet[below(strlen(alphabet))]); break;
        case 3: fen = fen.substr(0, at); break;
        default: fen += " " + number(); break;
        }
    }
    return fen;
}

std::string moveList() {
    std::string list;
    int n = chance(80) ? int(below(8)) : int(below(600));
    for (int i = 0; i < n; i++) list += (i ? " " : "") + pick(MOVES);
    return list;
}

std::string positionLine() {
    std::string line = chance(30) ? "position startpos" : "position fen " + mangledFen();
    if (chance(60)) line += " moves " + moveList();
    return line;
}

std::string goLine() {
    static const std::vector<std::string> KEYS = {"depth",     "movetime", "wtime", "btime",  "winc", "binc",
                                                  "movestogo", "infinite", "nodes", "ponder", "mate"};
    std::string line = "go";
    int n = int(below(5));
    for (int i = 0; i < n; i++) {
        const std::string& key = pick(KEYS);
        line += " " + key;
        if (key != "infinite" && key != "ponder") line += " " + number();
    }
    return line;
}

std::string syzygyValue(const std::string& tables, const std::string& damaged) {
    std::vector<std::string> values = {":",
                                       "::::",
                                       "/nonexistent:",
                                       "<empty>",
                                       "/nonexistent",
                                       "/tmp",
                                       "/",
                                       "/dev/null",
                                       "/proc/self",
                                       std::string(5000, 'a'),
                                       "/" + std::string(300, 'd') + "/" + std::string(300, 'e'),
                                       "::/:",
                                       "a b"};
    if (!tables.empty()) {
        for (const std::string& v : {tables, tables + ":", ":" + tables, tables + "::" + tables,
                                     "::" + tables + "::", tables + ":/nonexistent:", tables + "/KQvK.rtbw"})
            values.push_back(v);
    }
    if (!damaged.empty()) {
        values.push_back(damaged);
        values.push_back(damaged + ":" + tables);
        values.push_back(tables + ":" + damaged + ":");
    }
    return pick(values);
}

std::string soup() {
    std::string line;
    int n = 1 + int(below(8));
    for (int i = 0; i < n; i++) line += (i ? " " : "") + (chance(25) ? number() : pick(WORDS));
    return line;
}

std::string bytes(size_t length) {
    std::string line;
    for (size_t i = 0; i < length; i++) {
        char c = char(below(256));
        if (c == '\n') c = ' ';
        line += c;
    }
    return line;
}

std::string line(const std::string& tables, const std::string& damaged) {
    int kind = int(below(100));
    if (kind < 30) return positionLine();
    if (kind < 55) return goLine();
    if (kind < 60) return "setoption name Hash value " + (chance(50) ? std::to_string(1 << below(7)) : number());
    if (kind < 68) return "setoption name SyzygyPath value " + syzygyValue(tables, damaged);
    // Deep perft is not interrupted by input: only shallow or invalid depths.
    if (kind < 72)
        return "perft " + (chance(70) ? std::to_string(below(4))
                                      : pick(std::vector<std::string>{"0", "-1", "-5", "65", "100", "2147483647",
                                                                      "99999999999", "x", "", "-2147483648"}));
    if (kind < 80) return pick(std::vector<std::string>{"uci", "isready", "ucinewgame", "debug", "stop", "ponderhit"});
    if (kind < 81) return "bench";
    if (kind < 90) return soup();
    if (kind < 97) return bytes(below(80));
    return chance(50) ? positionLine() + " " + std::string(9000, 'x') : bytes(9000 + below(4000));
}

} // namespace

int main(int argc, char** argv) {
    uint64_t seed = 1;
    long lines = 1000;
    std::string tables, damaged;
    if (!vireo_tools::readValueOptions(
            vireo_tools::OptionReader(argc, argv),
            {{"--seed", &seed}, {"--lines", &lines}, {"--tables", &tables}, {"--damaged", &damaged}})) {
        fprintf(stderr, "usage: fuzz_uci [--seed N] [--lines N] [--tables DIR] [--damaged DIR]\n");
        return 1;
    }
    rng.seed(seed);
    for (long i = 0; i + 1 < lines; i++) {
        std::string text = line(tables, damaged);
        fwrite(text.data(), 1, text.size(), stdout);
        fputc('\n', stdout);
    }
    puts("quit");
    return 0;
}
