// The match: games played in pairs of one opening with the colours swapped, by as many workers as
// games run at once, until the games run out, the sequential test decides or a signal interrupts.
#pragma once

#include <string>
#include <vector>

#include "config.h"
#include "game.h"
#include "statistics.h"

namespace vireo_match {

struct MatchResult {
    std::vector<GameRecord> games; // by game number - 1; games never started or not finished keep number 0
    std::string names[2];
    int wins = 0, draws = 0, losses = 0; // engine 1's view
    // With the sequential test: the complete pairs, the LLR over them, and the decision that stopped
    // the match. Games still in flight at the decision count too, so the final LLR may have moved on.
    PairCounts pairs{};
    double llr = 0;
    SprtDecision decision = SprtDecision::None;
};

// Plays the match, printing each game as it ends (unless quiet) and writing the PGN. A broken
// referee, a bad openings file or an illegal opening move end it (runtime_error). Once
// interrupted (vireo_tools::interrupted) it starts no game and returns what was finished.
MatchResult runMatch(const MatchConfig& config);

} // namespace vireo_match
