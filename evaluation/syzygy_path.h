// The "SyzygyPath" value as the tablebase library gets it.
#pragma once
#include <string>
#include <vector>

// The directories of a list separated by PATH_LIST_SEPARATOR (":", or ";" on Windows) without its
// empty parts (a leading, trailing or doubled separator), which the library cannot take; "<empty>"
// when nothing is left.
std::string cleanSyzygyPath(const char* value);

// The parts of a path list, split at every PATH_LIST_SEPARATOR, empty ones included.
std::vector<std::string> syzygyDirectories(const std::string& path);
