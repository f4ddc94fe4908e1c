// The "SyzygyPath" value as the tablebase library gets it.
#pragma once
#include <string>

// The directories of a ":"-separated list without its empty parts (a leading, trailing or doubled
// ":"), which the library cannot take; "<empty>" when nothing is left.
std::string cleanSyzygyPath(const char* value);
