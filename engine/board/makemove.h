// Copy-make: playing a move fills the next record of the ply stack.
#pragma once
#include "board.h"

void makeMove(Move m);
void makeNullMove();
