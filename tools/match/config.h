// What a match is played with: the two engines' command lines and options, the clocks, the
// openings, the referee, the output files and the adjudication rules.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace vireo_match {

struct EngineConfig {
    std::string command;
    std::vector<std::pair<std::string, std::string>> options; // UCI option name, value
    std::string name;                                         // display name; empty: the engine's "id name"
};

struct MatchConfig {
    EngineConfig engines[2];
    int games = 2;
    int64_t base_ms = 10000;
    int64_t increment_ms = 100;
    std::string tc_text = "10+0.1";
    int random_plies = 4;
    std::string openings_path;
    uint64_t seed = 1;
    int concurrency = 1;
    std::string referee = "/usr/games/stockfish";
    std::string pgn_path;
    std::string log_path;
    int max_plies = 300;        // the game is adjudicated a draw when it reaches this many plies
    int64_t tolerance_ms = 50;  // a move this much past the flag still counts (reported as "late")
    int64_t grace_ms = 2000;    // how long past the flag we wait for a bestmove before calling it a hang
    int64_t startup_ms = 10000; // for "uciok" and "readyok"
    int resign_cp = 0;          // score adjudication: both engines agree on at least this many centipawns
    int resign_moves = 0;       //   for this many moves each; 0 switches it off
    bool sprt = false;          // stop once a sequential test between two Elo differences decides
    double sprt_elo0 = 0, sprt_elo1 = 0;
    bool show_stderr = false;
    bool quiet = false;
};

} // namespace vireo_match
