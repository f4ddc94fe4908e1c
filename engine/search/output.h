// The search's result lines: the principal variation read from the transposition table and the
// line printed after every completed root search.
#pragma once
#include <string>
#include "../board/board.h"

// The principal variation starting with `move`, read from the transposition table: each move
// followed by one space.
std::string pvText(Move move);
void printPV(Move move);

// The line printed after every completed root search.
void printRootInfo(int score, int alpha, int beta);
