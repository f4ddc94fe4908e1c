// The games as PGN (--pgn).
#pragma once

#include <string>

#include "config.h"
#include "game.h"

namespace vireo_match {

// The game with its tags, its moves in SAN with the engines' scores and times as comments, and the
// reason it ended.
std::string pgnGame(const GameRecord& game, const MatchConfig& config);

} // namespace vireo_match
