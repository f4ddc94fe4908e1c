// The two players: UCI engines run as child processes, started and restarted by the tool, and
// asked for their moves under the tool's clocks.
#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "../uci/process.h"
#include "config.h"

namespace vireo_match {

using namespace vireo_tools;

struct Engine {
    explicit Engine(int index) : index(index) {} // no default: the index picks the engine's configuration
    int index;                                   // 0 for engine 1, 1 for engine 2
    Process process;
    std::string name;
    std::set<std::string> advertised_options;
};

// Starts the log of all UCI traffic (--log), shared by the games played at once; false when the
// file cannot be created.
bool openTrafficLog(const std::string& path);

// "engine1" or "engine2", as the summary and the log name it.
std::string engineLabel(const Engine& engine);

// Starts the engine and brings it to "readyok" with the configured options. On failure the engine is
// left stopped and the error says why; crashed tells whether the process died (rather than misbehaved).
bool startEngine(Engine& engine, const MatchConfig& config, int game, std::string& error, bool& crashed);

// Brings an engine to a fresh game ("ucinewgame"); a stopped engine is restarted first. On
// failure as startEngine.
bool prepareEngine(Engine& engine, const MatchConfig& config, int game, std::string& error, bool& crashed);

void stopEngine(Engine& engine);

// What an engine said while thinking about one move.
struct EngineAnswer {
    enum Kind { Move, Crash, Hang, Garbage } kind = Hang;
    std::string move;
    std::string text; // the offending line for Garbage
    int64_t elapsed_us = 0;
    bool have_score = false;
    int score_cp = 0; // from the mover's view; mates as +-(100000 - plies)
    bool score_is_mate = false;
    int mate_in = 0;
    int depth = 0;
};

// Sends the position and the clocks (by engine index, microseconds), then waits for "bestmove"
// until the flag plus the grace time.
EngineAnswer askMove(Engine& engine, int game, const std::string& start_fen, const std::vector<std::string>& moves,
                     const int64_t clock_us[2], bool white_to_move, int white, const MatchConfig& config);

// The last score and depth for the PGN comment, e.g. "+0.25/12 "; empty without a score.
std::string formatScore(const EngineAnswer& answer);

} // namespace vireo_match
