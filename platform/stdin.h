// Standard input at the level of the operating system: the engine keeps its own buffer above this
// (engine/search/input.cpp) and asks here only for bytes and for whether more are waiting.
#pragma once
#include <cstddef>

// Prepares standard input and output once at start-up: output unbuffered and, on Windows, in
// binary mode, so that every line reaches the interface at once and ends in "\n" as elsewhere.
void setUpConsole();

// Reads what is there, up to `size` bytes, waiting for at least one; 0 at the end of input.
size_t readStandardInput(char* buffer, size_t size);

// True when bytes are waiting that a read would return at once. Never reads, never waits, and a
// failure of the test reads as "nothing waiting", never as the end of input.
bool standardInputWaiting();

// True when a read would return at once, with bytes or with the end of input. Never waits.
bool standardInputReadable();

// Standard input becomes empty (the null device), for runs that nobody talks to.
void detachStandardInput();
