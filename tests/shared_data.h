// The shared data some tests read (under VIREO_SHARED_DIR): the labelled training positions.
#pragma once
#include <fstream>
#include <string>
#include <vector>

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
