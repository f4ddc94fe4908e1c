// The front end. This chief header holds the commands the loop carries out; beside it are main
// (start-up, the training tools and "vireo bench"), uci (the command loop), go (limits from a
// "go" line), perft_command, bench and debug. The front end may include anything.
#pragma once
#include <cstdint>

void goCommand(const char* line);
void perftCommand(const char* line);
void benchCommand();
// "vireo bench" on the command line: the same searches, in plain ASCII, with the report of testers.
void commandLineBench();
void debugCommand();

// Nodes per second, in whole thousands (0 when no time has elapsed).
uint64_t speedOf(uint64_t nodes, uint64_t ms);
// "<nodes> nodes in <ms> ms, speed = <n> nodes/s", the last line of perft and bench.
void printSpeedReport(uint64_t nodes, uint64_t ms);
