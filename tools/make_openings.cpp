// make_openings: writes a balanced opening set for the match tool.
//
// Each candidate is a run of random legal plies from the start position (uniform among the legal
// moves, from one seeded generator). Stockfish then searches the position to a fixed depth, and the
// line is kept only when the score is within the window (no mate scores) and the position is not one
// already kept. The output has one opening per line as coordinate moves, the format the match tool's
// --openings reads, under a header that says how to make the same file again.
//
// The result depends only on the arguments and on the stockfish build: the generator is std::mt19937_64
// (fixed by the standard), stockfish searches on one thread, and its hash is cleared before each search.
//
// Like the match tool this needs nothing of the engine: g++ -std=c++20 -O2 tools/make_openings.cpp

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <random>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "option_values.h"
#include "uci/stockfish.h"

namespace vireo_openings {

using namespace vireo_tools;

struct Config {
    int count = 600; // openings to keep
    int plies = 8;
    uint64_t seed = 1;
    int depth = 12;
    int window = 50;   // centipawns either way
    int max_tries = 0; // candidates to try at most; 0: 50 per opening wanted
    std::string stockfish = STOCKFISH;
    std::string out_path; // empty: standard output
};

const char* USAGE = "usage: make_openings [options]   (--name VALUE or --name=VALUE)\n"
                    "  --count N        openings to keep (default 600)\n"
                    "  --plies N        random plies from the start position (default 8)\n"
                    "  --seed N         seed of the random plies (default 1)\n"
                    "  --depth N        stockfish's search depth for the score (default 12)\n"
                    "  --window CP      keep scores within +-CP centipawns (default 50)\n"
                    "  --max-tries N    give up after N candidates (default 50 per opening wanted)\n"
                    "  --stockfish CMD  the judge (default /usr/games/stockfish)\n"
                    "  --out FILE       where to write the openings (default: standard output)\n";

// Fills the configuration; returns an error text, empty when the command line is fine.
std::string parseArguments(const std::vector<std::string>& args, Config& config) {
    OptionReader options(args);
    while (options.next()) {
        const std::string& a = options.name();
        std::string v;
        if (!options.value(v)) return "missing value after " + a;
        auto number = [&](long long low, long long high, long long& out) {
            return parseWholeNumber(v.c_str(), low, high, &out);
        };
        long long n = 0;
        if (a == "--count") {
            if (!number(1, 1000000, n)) return "bad count '" + v + "'";
            config.count = int(n);
        } else if (a == "--plies") {
            if (!number(1, 100, n)) return "bad number of plies '" + v + "' (1 to 100)";
            config.plies = int(n);
        } else if (a == "--seed") {
            if (!number(0, LLONG_MAX, n)) return "bad seed '" + v + "'";
            config.seed = uint64_t(n);
        } else if (a == "--depth") {
            if (!number(1, 40, n)) return "bad depth '" + v + "' (1 to 40)";
            config.depth = int(n);
        } else if (a == "--window") {
            if (!number(0, 10000, n)) return "bad window '" + v + "'";
            config.window = int(n);
        } else if (a == "--max-tries") {
            if (!number(1, INT_MAX, n)) return "bad number of tries '" + v + "'";
            config.max_tries = int(n);
        } else if (a == "--stockfish") config.stockfish = v;
        else if (a == "--out") config.out_path = v;
        else return "unknown argument '" + a + "'";
    }
    return "";
}

std::string positionCommand(const std::vector<std::string>& moves) {
    std::string text = "position startpos moves";
    for (auto& m : moves) text += " " + m;
    return text;
}

// Placement, side to move, castling and en passant: two lines that reach the same position by a
// different move order are one opening.
std::string positionKey(const std::string& fen) {
    auto words = splitWords(fen);
    std::string key;
    for (size_t i = 0; i < words.size() && i < 4; i++) key += words[i] + " ";
    return key;
}

struct Judge {
    Process process;
    std::string name; // stockfish's "id name"
};

// Sends a line and waits for the one that starts with the answer word; false when the judge stops
// answering.
bool ask(Judge& judge, const std::string& line, const std::string& answer, std::string* name = nullptr) {
    if (!writeLine(judge.process, line)) return false;
    auto deadline = Clock::now() + ANSWER_TIME;
    std::string reply;
    while (readLine(judge.process, reply, deadline) == ReadResult::Line) {
        if (name && reply.rfind("id name ", 0) == 0) *name = reply.substr(8);
        if (reply == answer) return true;
    }
    return false;
}

void startJudge(Judge& judge, const std::string& command) {
    std::string error;
    if (!startProcess(judge.process, command, false, error)) throw std::runtime_error(error);
    if (!ask(judge, "uci", "uciok", &judge.name) || !writeLine(judge.process, "setoption name Threads value 1") ||
        !writeLine(judge.process, "setoption name Hash value 16") || !ask(judge, "isready", "readyok"))
        throw std::runtime_error("'" + command + "' does not answer as a UCI engine");
}

// The score of the position after the moves at the given depth, from the side to move's view; empty
// for a mate score. The hash is cleared first, so that the score does not depend on earlier searches.
std::optional<int> score(Judge& judge, const std::vector<std::string>& moves, int depth) {
    if (!writeLine(judge.process, "ucinewgame") || !ask(judge, "isready", "readyok") ||
        !writeLine(judge.process, positionCommand(moves)) ||
        !writeLine(judge.process, "go depth " + std::to_string(depth)))
        throw std::runtime_error("stockfish stopped answering");
    auto deadline = Clock::now() + std::chrono::minutes(5);
    std::optional<int> last;
    bool mate = false;
    std::string line;
    while (readLine(judge.process, line, deadline) == ReadResult::Line) {
        if (line.rfind("bestmove", 0) == 0) return mate ? std::nullopt : last;
        InfoLine info = readInfoLine(line);
        if (!info.has_score || info.bound) continue; // the exact score of the iteration follows
        mate = info.mate;
        last = info.value;
    }
    throw std::runtime_error("stockfish did not finish its search");
}

int run(const Config& config) {
    Judge judge;
    startJudge(judge, config.stockfish);
    std::mt19937_64 rng(config.seed);
    std::set<std::string> seen;
    std::vector<std::vector<std::string>> kept;
    int max_tries = config.max_tries > 0 ? config.max_tries : 50 * config.count;
    int tries = 0;
    while (int(kept.size()) < config.count && tries < max_tries) {
        tries++;
        std::vector<std::string> moves;
        Position position;
        bool over = false;
        for (int ply = 0; ply <= config.plies; ply++) {
            if (!queryStockfish(judge.process, positionCommand(moves), position))
                throw std::runtime_error("stockfish gives no usable answers");
            if (position.legal_moves.empty()) {
                over = true;
                break;
            }
            if (ply < config.plies) moves.push_back(position.legal_moves[rng() % position.legal_moves.size()]);
        }
        if (over || seen.count(positionKey(position.fen))) continue;
        std::optional<int> cp = score(judge, moves, config.depth);
        if (!cp || std::abs(*cp) > config.window) continue;
        seen.insert(positionKey(position.fen));
        kept.push_back(moves);
        if (kept.size() % 50 == 0) fprintf(stderr, "%zu kept of %d tried\n", kept.size(), tries);
    }
    stopProcess(judge.process);

    FILE* out = config.out_path.empty() ? stdout : fopen(config.out_path.c_str(), "w");
    if (!out) throw std::runtime_error("cannot create '" + config.out_path + "'");
    fprintf(out, "# Balanced openings for the match tool (--openings): %d random plies from the start position,\n",
            config.plies);
    fprintf(out, "# kept where %s at depth %d scores within +-%d centipawns, each position once.\n", judge.name.c_str(),
            config.depth, config.window);
    fprintf(out, "# %zu kept of %d tried. Made by:\n", kept.size(), tries);
    fprintf(out, "#   build/make_openings --count %d --plies %d --seed %llu --depth %d --window %d%s%s\n", config.count,
            config.plies, (unsigned long long)config.seed, config.depth, config.window,
            config.out_path.empty() ? "" : " --out ", config.out_path.c_str());
    for (auto& moves : kept) {
        std::string line;
        for (auto& m : moves) line += (line.empty() ? "" : " ") + m;
        fprintf(out, "%s\n", line.c_str());
    }
    bool written = fflush(out) == 0 && !ferror(out);
    if (out != stdout) written = fclose(out) == 0 && written;
    if (!written) throw std::runtime_error("cannot write '" + config.out_path + "'");
    if (int(kept.size()) < config.count) {
        fprintf(stderr, "make_openings: only %zu openings after %d tries\n", kept.size(), tries);
        return 1;
    }
    return 0;
}

} // namespace vireo_openings

int main(int argc, char** argv) {
    using namespace vireo_openings;
    std::vector<std::string> args(argv + 1, argv + argc);
    if (!args.empty() && (args[0] == "--help" || args[0] == "-h")) {
        fputs(USAGE, stdout);
        return 0;
    }
    Config config;
    std::string error = parseArguments(args, config);
    if (!error.empty()) {
        fprintf(stderr, "make_openings: %s\n%s", error.c_str(), USAGE);
        return 1;
    }
    signal(SIGPIPE, SIG_IGN);
    signal(SIGINT, killChildrenAndExit);
    signal(SIGTERM, killChildrenAndExit);
    try {
        return run(config);
    } catch (const std::exception& ex) {
        fprintf(stderr, "make_openings: %s\n", ex.what());
        return 2;
    }
}
