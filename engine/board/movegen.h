// Strictly legal move generation with ordering flags, and the attack information it needs.
#pragma once
#include "board.h"

enum { GEN_ALL = 0, GEN_TACTICAL = 1, GEN_CAPTURES = 2, GEN_RECAPTURES = 3 };

void computeAttacks();
void generateMoves(int mode);
// The number of moves generateMoves(GEN_ALL) would list, without listing them; needs computeAttacks.
int countMoves();
int isKingAttacked(Side* defender, Side* attacker);
