// Copy-make: playing a move fills the next record of the ply stack.
#pragma once
#include "board.h"

void makeMove(Move m);
// The same for positions that will not be looked up in the transposition table (perft, the
// generator's en passant trial): fetching their bucket would only cost memory traffic.
void makeMoveWithoutPrefetch(Move m);
void makeNullMove();
