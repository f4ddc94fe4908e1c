// The explanation's test positions: the file the browser test shares, and positions reached from
// each of them by a fixed pseudo-random game.
#pragma once
#include <cstdint>
#include <fstream>
#include <string>
#include <vector>
#include "tests/position_fixture.h"
#include "engine/board/makemove.h"

inline std::vector<std::string> positionsFile() {
    std::ifstream in(VIREO_SOURCE_DIR "/web/tests/explain-positions.txt");
    std::vector<std::string> fens;
    for (std::string line; std::getline(in, line);)
        if (!line.empty()) fens.push_back(line);
    return fens;
}

// The next number of a fixed sequence (a 64-bit linear congruential generator, its high bits).
inline uint64_t nextRandom(uint64_t& seed) {
    seed = seed * 6364136223846793005ULL + 1442695040888963407ULL;
    return seed >> 33;
}

// Adds to `fens` the positions of a game of up to `plies` random moves from each position already there.
inline void playOn(std::vector<std::string>& fens, int plies, uint64_t& seed) {
    size_t known = fens.size();
    for (size_t i = 0; i < known; i++) {
        setUp(fens[i].c_str());
        for (int ply = 0; ply < plies; ply++) {
            computeAttacks();
            generateMoves(GEN_ALL);
            if (!curr_ply->generated) break;
            makeMove(curr_ply->moves[nextRandom(seed) % uint64_t(curr_ply->generated)]);
            fens.push_back(fenText());
        }
    }
}
