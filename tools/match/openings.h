// The openings the games start from: listed in a file (--openings) or random plies (--random-plies).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "referee.h"

namespace vireo_match {

// Where a game starts: a position and the moves played from it for the engines.
struct Opening {
    std::string fen; // empty: the start position
    std::vector<std::string> moves;
    bool operator==(const Opening&) const = default;
};

// Reads one opening per line; '#' starts a comment. A line is either coordinate moves from the start
// position ("e2e4 e7e5 g1f3") or a FEN, optionally followed by "moves" and coordinate moves. A FEN
// may stop after its four board fields, as in EPD (the clocks are then 0 and 1, and EPD operations
// after the fields are ignored). Lines with a malformed FEN, an illegal move or that end the game
// are skipped with a warning; a file without a usable line ends the match (runtime_error).
std::vector<Opening> readOpenings(const std::string& path, Referee& referee);

// The FEN of a line's first words in six fields, or empty when they are not a well-formed FEN with
// one king a side. `used` is set to the number of words it took.
std::string openingFen(const std::vector<std::string>& words, size_t& used);

// Plies chosen uniformly among the legal moves; the generator is seeded per game pair so that the
// openings do not depend on the order in which parallel games finish.
Opening randomOpening(Referee& referee, uint64_t seed, int pair, int plies);

} // namespace vireo_match
