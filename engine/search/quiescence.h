// The search of captures and other tactical moves below the horizon.
#pragma once
#include <cstdint>
#include "../board/board.h"

// The values the exchange test and delta pruning count with.
inline constexpr const int (&see_value)[8] = piece_value;

// `horizon` is the ply where the alpha-beta search handed over: the first quiescence ply, which
// also tries checks, escapes and advanced pawn moves; deeper plies try captures only.
int quiescence(int ply, int horizon, int alpha, int beta, uint32_t in_check);

// The exchange test on the target square of a capture whose mover is worth more than its victim:
// true when the capture loses material.
bool exchangeLoses(Move m);
