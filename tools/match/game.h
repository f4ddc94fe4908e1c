// The record of one game: its moves, its result and how it ended, and the faults the engines
// committed in it.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace vireo_match {

// Faults an engine can commit; each is listed with game and engine in the summary.
enum class Fault { Illegal, Crash, Protocol, TimeLoss, Late };
const char* faultName(Fault f);

struct Incident {
    int game = 0;
    int engine = 0; // 0 or 1
    Fault fault = Fault::Crash;
    std::string detail;
};

struct GameRecord {
    int number = 0;        // 1-based
    int white = 0;         // engine index playing White
    std::string names[2];  // engine names by index
    std::string start_fen; // empty: the start position
    std::vector<std::string> moves;
    std::vector<std::string> san;
    std::vector<std::string> comments;
    size_t opening_plies = 0;
    std::string result = "*";           // "1-0", "0-1", "1/2-1/2"
    std::string ending;                 // kind of ending for the summary, e.g. "checkmate", "time loss"
    std::string reason;                 // the same for this game in words
    std::string termination = "normal"; // PGN Termination tag
    std::vector<Incident> incidents;
    // The match was interrupted before the result was settled: the engines were killed under the
    // players, so the result says nothing and the game is not counted.
    bool unfinished = false;
};

// Engine's points in the game: 1, 0.5 or 0.
double engineScore(const GameRecord& game, int engine);

// Ends the game with a loss for the engine of that index, or with a draw.
void lose(GameRecord& game, int loser, const std::string& ending, const std::string& reason,
          const std::string& termination);
void draw(GameRecord& game, const std::string& ending, const std::string& reason,
          const std::string& termination = "normal");

// "Game 3: A - B  1-0  {White mates}  57 plies", the line printed when a game ends.
std::string describeGame(const GameRecord& game);

} // namespace vireo_match
