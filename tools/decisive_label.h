// The label of a position in pawns from stockfish's score. Decisive positions keep an order: any
// mate outranks every centipawn score (those are capped at DECISIVE_PAWNS), and a nearer mate
// outranks a farther one, up to just below MATE_PAWNS. So the fit sees that driving a bare king to
// the edge or promoting is worth more than standing still with an extra queen.
#pragma once

#include <algorithm>

#include "uci/stockfish.h"

namespace vireo_tools {

constexpr double DECISIVE_PAWNS = 20;
constexpr double MATE_PAWNS = 30;

// A mate in `plies` half-moves (1 or more) for the side to move: from just below MATE_PAWNS for a
// mate in one down toward DECISIVE_PAWNS for very long ones.
inline double matePawns(int plies) {
    plies = std::max(plies, 1);
    return DECISIVE_PAWNS + (MATE_PAWNS - DECISIVE_PAWNS) * 16.0 / (16.0 + plies);
}

// Stockfish's mate in N moves (N > 0: the side to move mates, N < 0: it is mated) in half-moves.
inline int matePlies(int moves) { return moves > 0 ? 2 * moves - 1 : -2 * moves; }

// The label from the side to move's point of view.
inline double labelPawns(const SearchResult& result) {
    if (result.mate) {
        double pawns = matePawns(matePlies(result.centipawns));
        return result.centipawns > 0 ? pawns : -pawns;
    }
    return std::clamp(result.centipawns / 100.0, -DECISIVE_PAWNS, DECISIVE_PAWNS);
}

} // namespace vireo_tools
