// Asking the Syzygy tablebases for the move to play at the root.
#pragma once
#include "../board/board.h"

// True when the tables give a move; then `move` and `score` (side to move's view) are written.
// The ply's legal moves must have been generated.
bool probeRoot(Ply* ply, Move* move, int* score);
