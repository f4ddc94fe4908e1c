#include "pgn.h"

#include <algorithm>
#include <cstdlib>
#include <ctime>

#include "../uci/words.h"

namespace vireo_match {

namespace {

std::string pgnQuote(const std::string& text) {
    std::string out;
    for (char c : text) {
        if (c == '"' || c == '\\') out += '\\';
        out += c;
    }
    return out;
}

std::string pgnTags(const GameRecord& game, const MatchConfig& config) {
    char date[16];
    time_t now = time(nullptr);
    tm utc{};
    gmtime_r(&now, &utc);
    strftime(date, sizeof date, "%Y.%m.%d", &utc);
    std::string text;
    text += "[Event \"" + pgnQuote(game.names[0] + " vs " + game.names[1]) + "\"]\n";
    text += "[Site \"?\"]\n";
    text += std::string("[Date \"") + date + "\"]\n";
    text += "[Round \"" + std::to_string(game.number) + "\"]\n";
    text += "[White \"" + pgnQuote(game.names[game.white]) + "\"]\n";
    text += "[Black \"" + pgnQuote(game.names[1 - game.white]) + "\"]\n";
    text += "[Result \"" + game.result + "\"]\n";
    text += "[TimeControl \"" + pgnQuote(config.tc_text) + "\"]\n";
    if (!game.start_fen.empty()) text += "[SetUp \"1\"]\n[FEN \"" + pgnQuote(game.start_fen) + "\"]\n";
    text += "[PlyCount \"" + std::to_string(game.moves.size()) + "\"]\n";
    text += "[Termination \"" + game.termination + "\"]\n\n";
    return text;
}

// Move numbers, moves and comments in lines of at most 79 characters.
std::string pgnMovetext(const GameRecord& game) {
    std::string movetext, line;
    auto emit = [&](const std::string& token) {
        if (!line.empty() && line.size() + 1 + token.size() > 79) {
            movetext += line + "\n";
            line.clear();
        }
        line += (line.empty() ? "" : " ") + token;
    };
    // Moves are numbered on from the FEN's move number; a game that starts with Black to move opens
    // with "N...".
    int number = 1, black_first = 0;
    if (!game.start_fen.empty()) {
        auto fields = vireo_tools::splitWords(game.start_fen);
        if (fields.size() >= 6) number = std::max(1, atoi(fields[5].c_str()));
        black_first = fields.size() >= 2 && fields[1] == "b";
    }
    for (size_t i = 0; i < game.san.size(); i++) {
        size_t ply = i + black_first;
        if (ply % 2 == 0) emit(std::to_string(number + ply / 2) + ".");
        else if (i == 0) emit(std::to_string(number) + "...");
        emit(game.san[i]);
        if (!game.comments[i].empty()) emit("{" + game.comments[i] + "}");
    }
    if (!game.reason.empty()) emit("{" + game.reason + "}");
    emit(game.result);
    return movetext + line + "\n\n";
}

} // namespace

std::string pgnGame(const GameRecord& game, const MatchConfig& config) {
    return pgnTags(game, config) + pgnMovetext(game);
}

} // namespace vireo_match
