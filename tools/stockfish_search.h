// Stockfish as the labeller of training positions: started on one thread with a small hash, asked
// for a fixed-depth search of the position it was last given, its final score read from the info
// lines. Shared by generate_data and sample_positions.
#pragma once

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "uci_process.h"

namespace vireo_tools {

struct SearchResult {
    bool mate = false;
    int centipawns = 0; // with a mate: moves to mate, negative when the side to move is mated
    std::string best;
};

// Stockfish prints a line at every finished depth, and after a few seconds one for every root move
// it starts on; a search that stays silent this long has hung.
constexpr std::chrono::minutes SEARCH_SILENCE{5};

inline bool startsWith(const std::string& text, const char* prefix) {
    return text.compare(0, strlen(prefix), prefix) == 0;
}

// Sends "isready" and drops everything up to the answer.
inline bool synchronise(Process& engine) {
    if (!writeLine(engine, "isready")) return false;
    auto deadline = Clock::now() + ANSWER_TIME;
    std::string line;
    while (readLine(engine, line, deadline) == ReadResult::Line)
        if (line == "readyok") return true;
    return false;
}

// Sends "go depth N".
inline bool startSearch(Process& engine, int depth) { return writeLine(engine, "go depth " + std::to_string(depth)); }

// Reads the answer to startSearch up to "bestmove": the score of the last exact info line.
inline bool finishSearch(Process& engine, SearchResult* result) {
    std::string line;
    *result = SearchResult();
    while (readLine(engine, line, Clock::now() + SEARCH_SILENCE) == ReadResult::Line) {
        if (startsWith(line, "bestmove ")) {
            size_t end = line.find(' ', 9);
            result->best = line.substr(9, end == std::string::npos ? std::string::npos : end - 9);
            return true;
        }
        if (!startsWith(line, "info ") || line.find("lowerbound") != std::string::npos ||
            line.find("upperbound") != std::string::npos)
            continue;
        size_t at = line.find(" score ");
        if (at == std::string::npos) continue;
        char kind[8] = "";
        int value = 0;
        if (sscanf(line.c_str() + at, " score %7s %d", kind, &value) != 2) continue;
        result->mate = strcmp(kind, "mate") == 0;
        result->centipawns = value;
    }
    return false;
}

inline bool searchPosition(Process& engine, int depth, SearchResult* result) {
    return startSearch(engine, depth) && finishSearch(engine, result);
}

// Starts the program (a name without a slash is a file in the working directory, as access()
// reads it, not one on PATH) and readies it on one thread with 16 MB of hash.
inline bool startStockfish(Process& engine, const std::string& path) {
    std::string program = path.find('/') == std::string::npos ? "./" + path : path;
    std::string error;
    if (startProcess(engine, std::vector<std::string>{program}, true, error) && writeLine(engine, "uci") &&
        writeLine(engine, "setoption name Threads value 1") && writeLine(engine, "setoption name Hash value 16") &&
        synchronise(engine))
        return true;
    stopProcess(engine);
    return false;
}

} // namespace vireo_tools
