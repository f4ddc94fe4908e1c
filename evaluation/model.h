// The learned linear model: one weight vector per number of men on the board, and a learned
// value per material configuration in endings of 4 to 6 men.
#pragma once
#include <algorithm>
#include <array>
#include <cstdint>
#include "../engine/board/board.h"

constexpr int MIN_MODEL_MEN = 4;
constexpr int MAX_MODEL_MEN = 32;
constexpr int MODEL_COUNTS = MAX_MODEL_MEN - MIN_MODEL_MEN + 1; // 29 weight vectors
constexpr int MODEL_WEIGHTS = 128;                              // 127 feature weights + constant term

// Length of the weight vector of each piece count 4..32; checked against the feature count.
inline constexpr int weight_count[MODEL_COUNTS] = {
    128, 128, 128, 128, 128, 128, 128, 128, 128, 128, 128, 128, 128, 128, 128,
    128, 128, 128, 128, 128, 128, 128, 128, 128, 128, 128, 128, 128, 128,
};

// Fitted tables, generated into evaluation/weights.cpp by tools/fit_model (tools/train.sh).
// eval_weights[men - 4][i]: weight of feature i (i < 127); element 127 is the constant term.
extern const float eval_weights[MODEL_COUNTS][MODEL_WEIGHTS];
// Value of each material class, from the view of the side with the larger signature;
// parallel to endgame_keys_4/5/6 below.
extern const float endgame_bias_4[31];
extern const float endgame_bias_5[111];
extern const float endgame_bias_6[366];

// 15-bit material signature of one side: 3 bits each for pawns, knights, bishops, rooks, queens.
inline int materialHash(const Side* side) {
    return popcount(side->pieces[PAWN]) | popcount(side->pieces[KNIGHT]) << 3 | popcount(side->pieces[BISHOP]) << 6 |
           popcount(side->pieces[ROOK]) << 9 | popcount(side->pieces[QUEEN]) << 12;
}

namespace material_classes {
// Every configuration of `extra` non-king men shared between two sides, keyed as
// (larger signature << 15 | smaller signature), sorted, with the kings-only key 0 in front.
template <int N>
constexpr std::array<int32_t, N> keys(int extra) {
    std::array<int32_t, N> out{};
    int count = 1; // out[0] = 0
    // Signatures of every multiset of at most 4 men, with their sizes.
    int hashes[126] = {}, sizes[126] = {}, n = 0;
    for (int p = 0; p <= 4; p++)
        for (int k = 0; p + k <= 4; k++)
            for (int b = 0; p + k + b <= 4; b++)
                for (int r = 0; p + k + b + r <= 4; r++)
                    for (int q = 0; p + k + b + r + q <= 4; q++) {
                        hashes[n] = p | k << 3 | b << 6 | r << 9 | q << 12;
                        sizes[n++] = p + k + b + r + q;
                    }
    for (int i = 0; i < n; i++)
        for (int j = 0; j < n; j++)
            if (sizes[i] + sizes[j] == extra && hashes[i] >= hashes[j]) {
                if (count >= N) return {}; // wrong size: caught by the static_asserts below
                out[count++] = hashes[i] << 15 | hashes[j];
            }
    if (count != N) return {};
    std::sort(out.begin(), out.end());
    return out;
}
} // namespace material_classes

// Material keys of the configurations of 4, 5 and 6 men, strictly increasing; the index of a
// key is the configuration's material class.
inline constexpr std::array<int32_t, 31> endgame_keys_4 = material_classes::keys<31>(2);
inline constexpr std::array<int32_t, 111> endgame_keys_5 = material_classes::keys<111>(3);
inline constexpr std::array<int32_t, 366> endgame_keys_6 = material_classes::keys<366>(4);
static_assert(endgame_keys_4[30] != 0 && endgame_keys_5[110] != 0 && endgame_keys_6[365] != 0);

// Material class of a position of 4 to 6 men; `first` has the larger (or equal) signature.
int endgameIndex(const Side* first, const Side* second);

// The class term of a position of 4 to 6 men, from the side to move's view.
float materialClassTerm(const Side* player, const Side* opponent, int men);

// Signed material class as written in the feature rows: +index when the side to move owns the
// larger or equal signature, -index otherwise.
int signedMaterialClass(const Side* player, const Side* opponent);

// The weight vector of `men` men (4..32): the 127 feature weights, then the constant term.
inline const float* modelWeights(int men) { return eval_weights[men - MIN_MODEL_MEN]; }

// The model keeps its scores within this bound, clear of the search's mate band.
constexpr float MODEL_SCORE_LIMIT = 29936.0f;

// Linear model sum: the class term plus the dot product of the features with the weights of
// `men` men plus the constant term, in single precision. Reads features[0..127]; entry 127 is
// ignored.
float modelSum(const int* features, int men, float class_term);

// The score of a model sum: kept within -29936..29936, then truncated toward zero.
inline int modelSumScore(float s) {
    if (s > MODEL_SCORE_LIMIT) s = MODEL_SCORE_LIMIT;
    if (s < -MODEL_SCORE_LIMIT) s = -MODEL_SCORE_LIMIT;
    return int(s);
}

// Linear model score: modelSumScore of modelSum.
int modelScore(const int* features, int men, float class_term);

// The model's sum term by term, for explaining a score: terms[i] = features[i] times the weight
// of feature i for the 127 features, terms[127] the constant term (the class term is apart).
void modelTerms(const int* features, int men, double terms[MODEL_WEIGHTS]);
