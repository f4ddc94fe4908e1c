#include "openings.h"

#include <cstdio>
#include <fstream>
#include <optional>
#include <random>
#include <stdexcept>

namespace vireo_match {

namespace {

bool isNumber(const std::string& word) {
    return !word.empty() && word.size() < 6 && word.find_first_not_of("0123456789") == std::string::npos;
}

// Eight ranks of eight squares, one king a side, no pawn on the first or last rank.
bool wellFormedBoard(const std::string& board) {
    int rank = 0, file = 0, white_kings = 0, black_kings = 0;
    for (char c : board) {
        if (c == '/') {
            if (file != 8) return false;
            rank++;
            file = 0;
        } else if (c >= '1' && c <= '8') {
            file += c - '0';
        } else if (std::string("pnbrqkPNBRQK").find(c) != std::string::npos) {
            if ((c == 'p' || c == 'P') && (rank == 0 || rank == 7)) return false;
            white_kings += c == 'K';
            black_kings += c == 'k';
            file++;
        } else {
            return false;
        }
        if (file > 8) return false;
    }
    return rank == 7 && file == 8 && white_kings == 1 && black_kings == 1;
}

bool wellFormedCastling(const std::string& rights) {
    if (rights == "-") return true;
    if (rights.empty() || rights.size() > 4) return false;
    for (size_t i = 0; i < rights.size(); i++)
        if (std::string("KQkq").find(rights[i]) == std::string::npos || rights.find(rights[i]) != i) return false;
    return true;
}

bool wellFormedEnPassant(const std::string& square) {
    return square == "-" ||
           (square.size() == 2 && square[0] >= 'a' && square[0] <= 'h' && (square[1] == '3' || square[1] == '6'));
}

// The opening of one line if it is well formed, the referee finds all its moves legal and the game
// is not over after them; otherwise nothing, with a warning.
std::optional<Opening> usableOpening(const std::vector<std::string>& words, Referee& referee,
                                     const std::string& where) {
    Opening opening;
    size_t first_move = 0;
    if (words[0].find('/') != std::string::npos) {
        opening.fen = openingFen(words, first_move);
        if (opening.fen.empty()) {
            fprintf(stderr, "warning: %s: malformed FEN, line skipped\n", where.c_str());
            return std::nullopt;
        }
        // After the FEN: "moves" and the moves, or EPD operations, which say nothing about the start.
        if (first_move < words.size() && words[first_move] != "moves") first_move = words.size();
        else first_move++;
    }
    for (size_t i = first_move; i < words.size(); i++) {
        Position p = queryPosition(referee, opening.moves, opening.fen);
        if (!isLegal(p, words[i])) {
            fprintf(stderr, "warning: %s: move %s is illegal, line skipped\n", where.c_str(), words[i].c_str());
            return std::nullopt;
        }
        opening.moves.push_back(words[i]);
    }
    if (queryPosition(referee, opening.moves, opening.fen).legal_moves.empty()) {
        fprintf(stderr, "warning: %s: the opening ends the game, line skipped\n", where.c_str());
        return std::nullopt;
    }
    return opening;
}

} // namespace

std::string openingFen(const std::vector<std::string>& words, size_t& used) {
    used = 0;
    if (words.size() < 4 || !wellFormedBoard(words[0]) || (words[1] != "w" && words[1] != "b") ||
        !wellFormedCastling(words[2]) || !wellFormedEnPassant(words[3]))
        return {};
    std::string fen = words[0] + " " + words[1] + " " + words[2] + " " + words[3];
    if (words.size() >= 6 && isNumber(words[4]) && isNumber(words[5]) && words[5] != "0") {
        fen += " " + words[4] + " " + words[5];
        used = 6;
    } else {
        fen += " 0 1";
        used = 4;
    }
    return fen;
}

std::vector<Opening> readOpenings(const std::string& path, Referee& referee) {
    std::ifstream file(path);
    if (!file) throw std::runtime_error("cannot open openings file '" + path + "'");
    std::vector<Opening> openings;
    int line_number = 0;
    for (std::string line; std::getline(file, line);) {
        line_number++;
        auto words = splitWords(line.substr(0, line.find('#')));
        if (words.empty()) continue;
        auto opening = usableOpening(words, referee, path + ":" + std::to_string(line_number));
        if (opening) openings.push_back(*opening);
    }
    if (openings.empty()) throw std::runtime_error("no usable opening in '" + path + "'");
    return openings;
}

Opening randomOpening(Referee& referee, uint64_t seed, int pair, int plies) {
    std::mt19937_64 rng(seed * 0x9E3779B97F4A7C15ULL + uint64_t(pair) + 1);
    for (;;) {
        std::vector<std::string> moves;
        for (int i = 0; i < plies; i++) {
            Position p = queryPosition(referee, moves);
            if (p.legal_moves.empty()) break;
            moves.push_back(p.legal_moves[rng() % p.legal_moves.size()]);
        }
        if (int(moves.size()) == plies && !queryPosition(referee, moves).legal_moves.empty()) return {{}, moves};
    }
}

} // namespace vireo_match
