// Helpers for the evaluation tests: feature vectors and evaluations of FEN positions, colour-mirrored
// FENs and sample positions from the labelled training data.
#pragma once
#include <cctype>
#include <sstream>
#include <string>
#include <vector>
#include <gtest/gtest.h>
#include "tests/position_fixture.h"
#include "tests/shared_data.h"
#include "engine/board/movegen.h"
#include "evaluation/evaluation.h"
#include "evaluation/features.h"

// The feature vector of a position, optionally reached by moves (after setting it up and
// computing its attacks).
inline std::vector<int> featuresOf(const char* fen, const char* moves = nullptr) {
    setUp(fen, moves);
    computeAttacks();
    computeFeatures(curr_ply->player, curr_ply->opponent);
    EXPECT_EQ(_features_[MAX_FEATURES - 1], NUM_FEATURES) << fen;
    return std::vector<int>(_features_, _features_ + NUM_FEATURES);
}

// The static evaluation of a position (after setting it up and computing its attacks).
inline int evaluationOf(const char* fen) {
    setUp(fen);
    computeAttacks();
    return evaluate(curr_ply);
}

// The same position with the colours exchanged and the board reflected top to bottom.
inline std::string mirrorFen(const std::string& fen) {
    std::istringstream in(fen);
    std::string placement, side, castling, ep, rest;
    in >> placement >> side >> castling >> ep;
    std::getline(in, rest);
    std::vector<std::string> ranks;
    std::stringstream ps(placement);
    for (std::string r; std::getline(ps, r, '/');) ranks.insert(ranks.begin(), r);
    std::string out;
    for (size_t i = 0; i < ranks.size(); i++) {
        for (char c : ranks[i]) out += char(isupper(c) ? tolower(c) : toupper(c));
        if (i + 1 < ranks.size()) out += '/';
    }
    out += side == "w" ? " b " : " w ";
    std::string c;
    for (char ch : castling) c += ch == '-' ? ch : char(isupper(ch) ? tolower(ch) : toupper(ch));
    out += c + " ";
    if (ep.size() == 2) ep[1] = char('1' + '8' - ep[1]);
    out += ep + rest;
    return out;
}

// Every step-th position (FEN only) of the labelled training data, at most limit of them; none
// when the data is missing.
inline std::vector<std::string> samplePositions(int step, int limit) {
    const std::vector<std::string>& all = trainingFens();
    std::vector<std::string> fens;
    for (size_t i = 0; i < all.size() && int(fens.size()) < limit; i += size_t(step)) fens.push_back(all[i]);
    return fens;
}
