// Counting move paths from the current position.
#pragma once
#include <cstdint>

uint64_t perft(int depth, int target);
