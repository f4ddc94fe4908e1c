// The 127 integer features that the learned model scores. Each is a difference between the side
// to move and the opponent of a count of squares, so the vector is colour-symmetric.
#pragma once
#include "../engine/board/board.h"

constexpr int MAX_FEATURES = 1024;
constexpr int NUM_FEATURES = 127;

// Features of the last position processed in entries 0..126; entry MAX_FEATURES - 1 holds
// their number. Entries 127..1022 stay 0 (the dot product reads entry 127 as a zero pad).
extern int _features_[MAX_FEATURES];

// Fills _features_ for the position whose sides these are (side to move first).
// The attack information of both sides must be current (computeAttacks).
void computeFeatures(const Side* player, const Side* opponent);
