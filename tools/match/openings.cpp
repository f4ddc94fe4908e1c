#include "openings.h"

#include <cstdio>
#include <fstream>
#include <random>
#include <stdexcept>

namespace vireo_match {

namespace {

// The moves of one line if the referee finds them all legal and the game not over after them;
// otherwise empty, with a warning.
std::vector<std::string> usableOpening(const std::vector<std::string>& moves, Referee& referee,
                                       const std::string& where) {
    std::vector<std::string> played;
    for (auto& m : moves) {
        Position p = queryPosition(referee, played);
        if (!isLegal(p, m)) {
            fprintf(stderr, "warning: %s: move %s is illegal, line skipped\n", where.c_str(), m.c_str());
            return {};
        }
        played.push_back(m);
    }
    if (queryPosition(referee, played).legal_moves.empty()) {
        fprintf(stderr, "warning: %s: the opening ends the game, line skipped\n", where.c_str());
        return {};
    }
    return played;
}

} // namespace

std::vector<std::vector<std::string>> readOpenings(const std::string& path, Referee& referee) {
    std::ifstream file(path);
    if (!file) throw std::runtime_error("cannot open openings file '" + path + "'");
    std::vector<std::vector<std::string>> openings;
    int line_number = 0;
    for (std::string line; std::getline(file, line);) {
        line_number++;
        auto moves = splitWords(line.substr(0, line.find('#')));
        if (moves.empty()) continue;
        auto opening = usableOpening(moves, referee, path + ":" + std::to_string(line_number));
        if (!opening.empty()) openings.push_back(opening);
    }
    if (openings.empty()) throw std::runtime_error("no usable opening in '" + path + "'");
    return openings;
}

std::vector<std::string> randomOpening(Referee& referee, uint64_t seed, int pair, int plies) {
    std::mt19937_64 rng(seed * 0x9E3779B97F4A7C15ULL + uint64_t(pair) + 1);
    for (;;) {
        std::vector<std::string> moves;
        for (int i = 0; i < plies; i++) {
            Position p = queryPosition(referee, moves);
            if (p.legal_moves.empty()) break;
            moves.push_back(p.legal_moves[rng() % p.legal_moves.size()]);
        }
        if (int(moves.size()) == plies && !queryPosition(referee, moves).legal_moves.empty()) return moves;
    }
}

} // namespace vireo_match
