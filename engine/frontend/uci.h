// The UCI command loop.
#pragma once
#include <vireo_version.h> // generated in the build folder from the project version

constexpr const char* ENGINE_NAME = "Vireo " VIREO_VERSION " x64";

// Carries out one command line; returns false on "quit".
bool executeCommand(const char* line);
void commandLoop();
void quitEngine();
