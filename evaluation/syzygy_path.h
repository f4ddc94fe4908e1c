// The "SyzygyPath" value as the tablebase library gets it.
#pragma once
#include <string>

// The directories of a list separated by PATH_LIST_SEPARATOR (":", or ";" on Windows) without its
// empty parts (a leading, trailing or doubled separator), which the library cannot take; "<empty>"
// when nothing is left.
std::string cleanSyzygyPath(const char* value);
