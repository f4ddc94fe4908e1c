#include "referee.h"

#include <stdexcept>

namespace vireo_match {

std::string positionCommand(const std::vector<std::string>& moves, const std::string& start_fen) {
    std::string text = start_fen.empty() ? "position startpos" : "position fen " + start_fen;
    if (!moves.empty()) {
        text += " moves";
        for (auto& m : moves) text += " " + m;
    }
    return text;
}

bool startReferee(Referee& referee, std::string& error) {
    if (!startProcess(referee.process, referee.command, false, error)) return false;
    if (!writeLine(referee.process, "uci")) {
        error = "referee does not accept input";
        stopProcess(referee.process);
        return false;
    }
    auto deadline = Clock::now() + ANSWER_TIME;
    std::string line;
    while (readLine(referee.process, line, deadline) == ReadResult::Line)
        if (line == "uciok") return true;
    error = "referee did not answer \"uci\"";
    stopProcess(referee.process);
    return false;
}

Position queryPosition(Referee& referee, const std::vector<std::string>& moves, const std::string& start_fen) {
    Position position;
    for (int attempt = 0;; attempt++) {
        std::string error;
        if (referee.process.pid <= 0 && !startReferee(referee, error)) throw std::runtime_error("referee: " + error);
        if (queryStockfish(referee.process, positionCommand(moves, start_fen), position)) return position;
        stopProcess(referee.process);
        if (attempt == 1) throw std::runtime_error("referee '" + referee.command + "' gives no usable answers");
    }
}

} // namespace vireo_match
