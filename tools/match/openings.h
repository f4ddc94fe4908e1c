// The openings the games start from: listed in a file (--openings) or random plies (--random-plies).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "referee.h"

namespace vireo_match {

// Reads one opening per line as coordinate moves ("e2e4 e7e5 g1f3"); '#' starts a comment. Lines
// with an illegal move or that end the game are skipped with a warning; a file without a usable
// line ends the match (runtime_error).
std::vector<std::vector<std::string>> readOpenings(const std::string& path, Referee& referee);

// Plies chosen uniformly among the legal moves; the generator is seeded per game pair so that the
// openings do not depend on the order in which parallel games finish.
std::vector<std::string> randomOpening(Referee& referee, uint64_t seed, int pair, int plies);

} // namespace vireo_match
