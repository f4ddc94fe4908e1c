// The UCI command loop.
#pragma once

constexpr const char* ENGINE_NAME = "Vireo 0.7 x64";

// Carries out one command line; returns false on "quit".
bool executeCommand(const char* line);
void commandLoop();
void quitEngine();
