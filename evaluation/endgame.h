// Endgame knowledge consulted by the searches before they evaluate: bare kings, every ending of
// three men, and the Syzygy win/draw/loss tables when they are loaded.
#pragma once
#include <cstdint>
#include "../engine/board/board.h"
#include "../platform/tablebase.h"

constexpr int KNOWN_WIN = 13000;    // won three-man ending, plus material
constexpr int TB_WIN_SCORE = 10000; // tablebase win, plus material

// Centralisation of a king square, 0 on the edge up to 6 in the centre.
// One row of the board a line.
// clang-format off
inline constexpr int8_t king_centre[64] = {
    0, 0, 0, 0, 0, 0, 0, 0,
    0, 2, 2, 2, 2, 2, 2, 0,
    0, 2, 5, 5, 5, 5, 2, 0,
    0, 2, 5, 6, 6, 5, 2, 0,
    0, 2, 5, 6, 6, 5, 2, 0,
    0, 2, 5, 5, 5, 5, 2, 0,
    0, 2, 2, 2, 2, 2, 2, 0,
    0, 0, 0, 0, 0, 0, 0, 0,
};
// clang-format on

// 1 with the score written when the position's result is known (two or three men, or a
// tablebase position under exact conditions), else 0 with the score untouched. Does not need
// the attack information.
int probeEndgame(Ply* ply, int* score);

// Material balance in centipawns from the side to move's view, by piece_value.
int materialBalance(const Ply* ply);

// The position as the tablebases take it.
TablebasePosition tablebasePosition(const Ply* ply);
