// Scoring a feature vector: material-class lookup and the 4-wide single-precision dot product.
#include <cstdio>
#include "model.h"
#include "features.h"
#include "../engine/board/assertion.h"
#include "../platform/vector.h"

static_assert(NUM_FEATURES + 1 == MODEL_WEIGHTS, "one weight per feature plus the constant term");

namespace {
const int32_t* const class_keys[3] = {endgame_keys_4.data(), endgame_keys_5.data(), endgame_keys_6.data()};
const int class_counts[3] = {31, 111, 366};
const float* const class_bias[3] = {endgame_bias_4, endgame_bias_5, endgame_bias_6};
} // namespace

int endgameIndex(const Side* first, const Side* second) {
    int key = materialHash(first) << 15 | materialHash(second);
    int men = popcount(first->pieces[0]) + popcount(second->pieces[0]);
    VIREO_ASSERT(men >= 4 && men <= 6);
    const int32_t* keys = class_keys[men - 4];
    int lo = 0, hi = class_counts[men - 4] - 1;
    while (lo <= hi) {
        int mid = (lo + hi) / 2;
        if (keys[mid] == key) return mid;
        if (keys[mid] > key) hi = mid - 1;
        else lo = mid + 1;
    }
    printf("info string Unknown endgame with hash = %i\n", key);
    VIREO_ASSERT(0);
    return 0;
}

float materialClassTerm(const Side* player, const Side* opponent, int men) {
    const float* bias = class_bias[men - 4];
    if (materialHash(player) >= materialHash(opponent)) return bias[endgameIndex(player, opponent)];
    return -bias[endgameIndex(opponent, player)];
}

int signedMaterialClass(const Side* player, const Side* opponent) {
    if (materialHash(player) >= materialHash(opponent)) return endgameIndex(player, opponent);
    return -endgameIndex(opponent, player);
}

namespace {
// The sum itself, inlined into modelScore, which the evaluation calls at every node.
[[gnu::always_inline]] inline float sum(const int* features, int men, float class_term) {
    const float* w = modelWeights(men);
    // 32 blocks of four: the last block holds features 124..126 and the constant term's slot,
    // whose feature lane is masked off; the constant term is added on its own.
    static_assert(MODEL_WEIGHTS % 16 == 0);
    auto block = [&](int i) { return toFloat4(loadInt4(features + i)) * loadFloat4(w + i); };
    // Four accumulators keep the additions out of one long dependency chain.
    Float4 a0 = block(0), a1 = block(4), a2 = block(8), a3 = block(12);
    for (int i = 16; i < MODEL_WEIGHTS - 16; i += 16) {
        a0 += block(i);
        a1 += block(i + 4);
        a2 += block(i + 8);
        a3 += block(i + 12);
    }
    a0 += block(MODEL_WEIGHTS - 16);
    a1 += block(MODEL_WEIGHTS - 12);
    a2 += block(MODEL_WEIGHTS - 8);
    Int4 last = loadInt4(features + MODEL_WEIGHTS - 4);
    last[3] = 0;
    a3 += toFloat4(last) * loadFloat4(w + MODEL_WEIGHTS - 4);
    return class_term + sumLanes((a0 + a1) + (a2 + a3)) + w[MODEL_WEIGHTS - 1];
}
} // namespace

float modelSum(const int* features, int men, float class_term) { return sum(features, men, class_term); }

int modelScore(const int* features, int men, float class_term) { return modelSumScore(sum(features, men, class_term)); }

void modelTerms(const int* features, int men, double terms[MODEL_WEIGHTS]) {
    const float* w = modelWeights(men);
    // Each product of a small integer and a single-precision weight is exact in double precision.
    for (int i = 0; i < NUM_FEATURES; i++) terms[i] = double(features[i]) * double(w[i]);
    terms[MODEL_WEIGHTS - 1] = w[MODEL_WEIGHTS - 1];
}
