// A look at Syzygy table files before the tablebase library maps them: the library trusts every
// byte of a file it accepts, and a damaged one crashes the engine at its first probe.
#pragma once
#include <string>

// Whether the file of a table (its path; the table is named by the file name, "KQvKR.rtbw") has
// the magic number of its kind, a header that fits its material and whose declared sections add up
// to the file's size, and a pairs tree that refers only to earlier symbols. The reason when not.
// What is not looked at: the compressed data and the index into it.
bool checkTableFile(const std::string& path, std::string* reason);

// Checks every table file of the directories of a path list (PATH_LIST_SEPARATOR between them,
// no empty parts) and prints "info string Damaged tablebase file <path>: <reason>" for each one
// that fails; true when none does. Files the library would not take (not named as a table, or refused by size) are left
// to it.
bool checkTableFiles(const std::string& path);
