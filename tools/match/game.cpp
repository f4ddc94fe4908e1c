#include "game.h"

#include "../uci/process.h"

namespace vireo_match {

namespace {

void settle(GameRecord& game, const std::string& result, const std::string& ending, const std::string& reason,
            const std::string& termination) {
    game.result = result;
    game.ending = ending;
    game.reason = reason;
    game.termination = termination;
    game.unfinished = vireo_tools::interrupted;
}

} // namespace

const char* faultName(Fault f) {
    switch (f) {
    case Fault::Illegal: return "illegal move";
    case Fault::Crash: return "crash";
    case Fault::Protocol: return "protocol error";
    case Fault::TimeLoss: return "time loss";
    case Fault::Late: return "late move within tolerance";
    }
    return "?";
}

double engineScore(const GameRecord& game, int engine) {
    if (game.result == "1/2-1/2") return 0.5;
    bool white_won = game.result == "1-0";
    return (white_won == (game.white == engine)) ? 1.0 : 0.0;
}

void lose(GameRecord& game, int loser, const std::string& ending, const std::string& reason,
          const std::string& termination) {
    settle(game, (loser == game.white) ? "0-1" : "1-0", ending, reason, termination);
}

void draw(GameRecord& game, const std::string& ending, const std::string& reason, const std::string& termination) {
    settle(game, "1/2-1/2", ending, reason, termination);
}

std::string describeGame(const GameRecord& game) {
    return "Game " + std::to_string(game.number) + ": " + game.names[game.white] + " - " + game.names[1 - game.white] +
           "  " + game.result + "  {" + game.reason + "}  " + std::to_string(game.moves.size()) + " plies";
}

} // namespace vireo_match
