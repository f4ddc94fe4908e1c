// The referee: a stockfish process that knows the rules. The tool trusts neither player, so the
// referee lists the legal moves and tells the FEN and the checkers of every position.
#pragma once

#include <string>
#include <vector>

#include "../uci/stockfish.h"

namespace vireo_match {

using namespace vireo_tools;

struct Referee {
    std::string command;
    Process process;
};

// "position startpos moves ..." for the moves played from the start position, or "position fen F
// moves ..." from the position F.
std::string positionCommand(const std::vector<std::string>& moves, const std::string& start_fen = {});

bool startReferee(Referee& referee, std::string& error);

// Asks the referee about the position after the moves (from start_fen, or the start position when
// it is empty). A referee that is not running is started; one
// that gives no usable answer is restarted once, after that the match cannot go on (runtime_error).
Position queryPosition(Referee& referee, const std::vector<std::string>& moves, const std::string& start_fen = {});

} // namespace vireo_match
