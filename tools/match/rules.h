// What the tool reads from the referee's FEN: the draw rules it applies, and standard algebraic
// notation for the PGN.
#pragma once

#include <string>

#include "../uci/stockfish.h"

namespace vireo_match {

// Piece letters by square, a1 = 0 ... h8 = 63; '.' for empty.
std::string boardFromFen(const std::string& fen);

// The square of a coordinate such as "e4".
int squareOf(const std::string& text);

// Placement, side to move, castling and en passant: what makes two positions the same for repetition.
std::string repetitionKey(const std::string& fen);

// Positions where neither side can ever mate: bare kings, a lone minor piece, or bishops that all
// stand on squares of one colour.
bool insufficientMaterial(const std::string& fen);

// The move in standard algebraic notation, from the position before it (FEN and legal moves) and
// what the referee said about the position after it.
std::string sanMove(const vireo_tools::Position& before, const std::string& move, const vireo_tools::Position& after);

} // namespace vireo_match
