// What the transposition table asks of the system's memory.
#pragma once
#include <cstddef>
#include <cstdint>

// The memory the system can still give without taking it from others; UINT64_MAX when it cannot
// tell. An allocation alone would succeed far beyond it where memory is promised lazily.
uint64_t availableMemory();

// Asks for large pages under a block that every probe lands in at random, where the system has
// them for the asking; elsewhere nothing.
void adviseLargePages(void* start, size_t bytes);
