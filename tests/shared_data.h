// The shared data some tests read (under VIREO_SHARED_DIR): the labelled training positions and
// the Syzygy tables, with a guard that keeps the tables switched off for other tests.
#pragma once
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>
#include "platform/tablebase.h"

// The FEN of every line of the labelled training positions ("FEN;score" lines), in file order;
// read once per test binary, empty when the file is missing.
inline const std::vector<std::string>& trainingFens() {
    static const std::vector<std::string> fens = [] {
        std::vector<std::string> all;
        std::ifstream in(std::string(VIREO_SHARED_DIR) + "/training/positions.txt");
        for (std::string line; std::getline(in, line);) all.push_back(line.substr(0, line.find(';')));
        return all;
    }();
    return fens;
}

// The folder of the shared Syzygy tables.
inline std::string syzygyDir() { return std::string(VIREO_SHARED_DIR) + "/syzygy"; }

// Whether the four-men tables are there (two of their files stand for the set).
inline bool haveSyzygy() {
    return std::filesystem::exists(syzygyDir() + "/KQvK.rtbw") && std::filesystem::exists(syzygyDir() + "/KRvKR.rtbw");
}

// Tablebase probing is off when the scope begins and again when it ends, however it ends: tables
// switched on in between stay loaded but go unused, so that the other tests in this process see
// the engine without tables.
struct TablesOff {
    TablesOff() { tablebase_men = 0; }
    ~TablesOff() { tablebase_men = 0; }
    TablesOff(const TablesOff&) = delete;
    TablesOff& operator=(const TablesOff&) = delete;
};
