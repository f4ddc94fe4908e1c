// The principal-variation alpha-beta search.
//
// Depth is counted from the root. A node is called with `ply`, its distance from the root, and
// `horizon`, the ply at which the quiescence search takes over (the driver passes the iteration
// depth); its remaining depth is horizon - ply. Children are called with ply + 1 and the same
// horizon, so an extension raises the horizon passed down and a reduction lowers it.
#pragma once
#include <cstdint>
#include "../board/board.h"

// Late-move reductions by remaining depth r and move number n (1..63 each, row and column 0
// zero): ln(n) * ln(r) * REDUCTION_SCALE, truncated.
extern uint8_t reductions[64][64];
constexpr double REDUCTION_SCALE = 1 / 1.3;

// Futility margins by remaining depth 1 and 2: a quiet move this far below alpha is not tried.
extern const int futility_margin[3];

void initReductions();

// Fail-soft score of curr_ply for the side to move.
int alphaBeta(int ply, int horizon, int alpha, int beta, uint32_t in_check);
