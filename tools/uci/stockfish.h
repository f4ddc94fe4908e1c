// Stockfish as the tools use it: the referee's and opening maker's questions about a position (its
// legal moves, FEN, key and checkers) and the labeller's fixed-depth search with its final score.
#pragma once

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "info_line.h"
#include "process.h"
#include "words.h"

namespace vireo_tools {

// Where Debian installs stockfish; the default of every tool that asks it.
constexpr const char* STOCKFISH = "/usr/games/stockfish";

struct Position {
    std::vector<std::string> legal_moves;
    std::string fen;
    std::string key; // stockfish's hash key: equal keys, equal positions for repetition
    bool in_check = false;
};

inline bool isLegal(const Position& position, const std::string& move) {
    return std::find(position.legal_moves.begin(), position.legal_moves.end(), move) != position.legal_moves.end();
}

// Lists the legal moves of the position set last ("go perft 1").
inline bool readLegalMoves(Process& process, Position& position, Clock::time_point deadline) {
    position.legal_moves.clear();
    if (!writeLine(process, "go perft 1")) return false;
    std::string line;
    for (;;) {
        if (readLine(process, line, deadline) != ReadResult::Line) return false;
        if (line.rfind("Nodes searched:", 0) == 0) return true;
        size_t colon = line.find(": ");
        if (colon != std::string::npos && isCoordinateMove(line.substr(0, colon)))
            position.legal_moves.push_back(line.substr(0, colon));
    }
}

// Reads the FEN, key and checkers of the position set last ("d"). A board display without a
// "Checkers:" line cannot tell check from no check, so it does not count as an answer.
inline bool readBoard(Process& process, Position& position, Clock::time_point deadline) {
    position.fen.clear();
    position.key.clear();
    position.in_check = false;
    if (!writeLine(process, "d") || !writeLine(process, "isready")) return false;
    bool have_checkers = false;
    std::string line;
    for (;;) {
        if (readLine(process, line, deadline) != ReadResult::Line) return false;
        if (line == "readyok") break;
        if (line.rfind("Fen: ", 0) == 0) position.fen = line.substr(5);
        if (line.rfind("Key: ", 0) == 0) position.key = line.substr(5);
        if (line.rfind("Checkers:", 0) == 0) {
            have_checkers = true;
            position.in_check = line.find_first_not_of(' ', 9) != std::string::npos;
        }
    }
    return !position.fen.empty() && have_checkers;
}

// Sends the position command ("position startpos ..." or "position fen ...") and asks for all of the above.
inline bool queryStockfish(Process& process, const std::string& position_command, Position& position) {
    auto deadline = Clock::now() + ANSWER_TIME;
    position = Position();
    // "go perft" runs on stockfish's search thread, so its answer is awaited before "d" is sent.
    return writeLine(process, position_command) && readLegalMoves(process, position, deadline) &&
           readBoard(process, position, deadline);
}

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
        InfoLine info = readInfoLine(line);
        if (!info.has_score || info.bound) continue;
        result->mate = info.mate;
        result->centipawns = info.value;
    }
    return false;
}

inline bool searchPosition(Process& engine, int depth, SearchResult* result) {
    return startSearch(engine, depth) && finishSearch(engine, result);
}

// Starts stockfish (a bare name is looked for as every program is, by findProgram) and readies it
// on one thread with 16 MB of hash.
inline bool startStockfish(Process& engine, const std::string& program) {
    std::string error;
    if (startProcess(engine, std::vector<std::string>{program}, true, error) && writeLine(engine, "uci") &&
        writeLine(engine, "setoption name Threads value 1") && writeLine(engine, "setoption name Hash value 16") &&
        synchronise(engine))
        return true;
    stopProcess(engine);
    return false;
}

} // namespace vireo_tools
