// The principal-variation alpha-beta search.
#pragma once
#include <cstdint>
#include "../board/board.h"

extern uint8_t reductions[64][64]; // late-move reductions by remaining depth and move number
extern const int futility_margin[3];

void initReductions();

// Fail-soft score of curr_ply for the side to move; `depth` is the ply of the horizon.
int alphaBeta(int ply, int depth, int alpha, int beta, uint32_t in_check);
