#include "rules.h"

#include <cctype>
#include <cstdlib>

namespace vireo_match {

std::string boardFromFen(const std::string& fen) {
    std::string board(64, '.');
    int rank = 7, file = 0;
    for (char c : fen) {
        if (c == ' ') break;
        if (c == '/') {
            rank--;
            file = 0;
        } else if (c >= '1' && c <= '8') {
            file += c - '0';
        } else if (rank >= 0 && file < 8) {
            board[size_t(rank * 8 + file)] = c;
            file++;
        }
    }
    return board;
}

int squareOf(const std::string& text) { return (text[1] - '1') * 8 + (text[0] - 'a'); }

std::string repetitionKey(const std::string& fen) {
    auto words = vireo_tools::splitWords(fen);
    std::string key;
    for (size_t i = 0; i < words.size() && i < 4; i++) key += words[i] + " ";
    return key;
}

bool insufficientMaterial(const std::string& fen) {
    std::string board = boardFromFen(fen);
    int minors = 0, knights = 0;
    int bishop_square_colours = 0; // bit 0: a dark-square bishop, bit 1: a light-square bishop
    for (int sq = 0; sq < 64; sq++) {
        char c = board[size_t(sq)];
        switch (c) {
        case '.':
        case 'k':
        case 'K': break;
        case 'n':
        case 'N':
            knights++;
            minors++;
            break;
        case 'b':
        case 'B':
            minors++;
            bishop_square_colours |= ((sq / 8 + sq % 8) % 2 == 0) ? 1 : 2;
            break;
        default: return false; // pawn, rook or queen
        }
    }
    if (minors <= 1) return true;
    return knights == 0 && bishop_square_colours != 3;
}

namespace {

// "N", "Nb", "N1" or "Nb1": the piece with what tells it from another of its kind that can go there.
std::string pieceWithOrigin(const vireo_tools::Position& before, const std::string& board, const std::string& move) {
    int from = squareOf(move.substr(0, 2));
    char piece = char(toupper(board[size_t(from)]));
    std::string san(1, piece);
    bool ambiguous = false, same_file = false, same_rank = false;
    for (auto& other : before.legal_moves) {
        if (other == move || other.substr(2, 2) != move.substr(2, 2)) continue;
        int other_from = squareOf(other.substr(0, 2));
        if (toupper(board[size_t(other_from)]) != piece) continue;
        ambiguous = true;
        if (other_from % 8 == from % 8) same_file = true;
        if (other_from / 8 == from / 8) same_rank = true;
    }
    if (ambiguous) {
        if (!same_file) san += move[0];
        else if (!same_rank) san += move[1];
        else san += move.substr(0, 2);
    }
    return san;
}

} // namespace

std::string sanMove(const vireo_tools::Position& before, const std::string& move, const vireo_tools::Position& after) {
    std::string board = boardFromFen(before.fen);
    int from = squareOf(move.substr(0, 2)), to = squareOf(move.substr(2, 2));
    char piece = char(toupper(board[size_t(from)]));
    bool capture = board[size_t(to)] != '.';
    std::string san;
    if (piece == 'K' && std::abs(from % 8 - to % 8) == 2) {
        san = (to % 8 == 6) ? "O-O" : "O-O-O";
    } else if (piece == 'P') {
        if (from % 8 != to % 8) san = std::string(1, move[0]) + "x"; // en passant lands on an empty square
        san += move.substr(2, 2);
        if (move.size() == 5) san += std::string("=") + char(toupper(move[4]));
    } else {
        san = pieceWithOrigin(before, board, move);
        if (capture) san += "x";
        san += move.substr(2, 2);
    }
    if (after.in_check) san += after.legal_moves.empty() ? "#" : "+";
    return san;
}

} // namespace vireo_match
