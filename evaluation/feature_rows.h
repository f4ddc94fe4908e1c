// Feature rows: one position's material class, features and reference score as a line of
// semicolon-separated integers, the training data of the learned model.
#pragma once
#include <cstdio>
#include "../engine/board/board.h"

// Appends the row of the position whose features computeFeatures(player, opponent) has just
// computed. The material class leads the row only for positions of 4 to 6 men.
void writeFeatures(const Side* player, const Side* opponent, FILE* file, int reference);
