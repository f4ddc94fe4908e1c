// The game loop: one game between the two engines, from an opening to its end by the rules, by
// adjudication or by an engine's fault.
#pragma once

#include <string>
#include <vector>

#include "config.h"
#include "engine.h"
#include "game.h"
#include "openings.h"
#include "referee.h"

namespace vireo_match {

// Resources of one game slot: a pair of engines and a referee, reused from game to game.
struct Worker {
    Engine engines[2] = {Engine(0), Engine(1)};
    Referee referee;
};

// Plays one game from the opening; white is the index of the engine playing White. The referee's
// failure ends the match (runtime_error); an interrupted match leaves the game unfinished.
GameRecord playGame(Worker& worker, const MatchConfig& config, int number, const Opening& opening, int white);

} // namespace vireo_match
