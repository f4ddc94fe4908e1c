// The commands of the front end that the command loop carries out.
#pragma once
#include <cstdint>

void goCommand(const char* line);
void perftCommand(const char* line);
void benchCommand();
void debugCommand();

// "<nodes> nodes in <ms> ms, speed = <n> nodes/s", the last line of perft and bench.
void printSpeedReport(uint64_t nodes, uint64_t ms);
