// Counting move paths from the current position.
#pragma once
#include <cstdint>

uint64_t perft(int depth, int target);
void perftCommand(const char* line);
void printSpeedReport(uint64_t nodes, uint64_t ms);
