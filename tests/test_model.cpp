// The learned model's structure and the evaluation entry: material-class keys and lookup, the
// sign rule of the class term, the dot product against a double-precision sum, and the rules
// that settle a position before the model (bare kings, stalemated bare king, three men).
#include <algorithm>
#include <cmath>
#include <set>
#include "tests/evaluation_fixture.h"
#include "evaluation/evaluation.h"
#include "evaluation/endgame.h"
#include "evaluation/model.h"

namespace {
// A Side with the given counts of pawns, knights, bishops, rooks and queens and a king.
Side sideWith(const int counts[5]) {
    Side s{};
    int square = 0;
    for (int t = PAWN; t <= QUEEN; t++)
        for (int i = 0; i < counts[t - 1]; i++) s.pieces[t] |= bit(square++);
    s.pieces[KING] = bit(63);
    for (int t = PAWN; t <= KING; t++) s.pieces[0] |= s.pieces[t];
    return s;
}

void decode(int hash, int counts[5]) {
    for (int t = 0; t < 5; t++) counts[t] = (hash >> (3 * t)) & 7;
}

template <size_t N>
void checkKeys(const std::array<int32_t, N>& keys, int men) {
    EXPECT_EQ(keys[0], 0);
    std::set<std::pair<int, int>> seen;
    for (size_t i = 1; i < N; i++) {
        EXPECT_LT(keys[i - 1], keys[i]) << "index " << i;
        int first = keys[i] >> 15, second = keys[i] & 0x7fff;
        EXPECT_GE(first, second);
        int a[5], b[5];
        decode(first, a);
        decode(second, b);
        int total = 2;
        for (int t = 0; t < 5; t++) total += a[t] + b[t];
        EXPECT_EQ(total, men) << "key " << keys[i];
        EXPECT_TRUE(seen.insert({first, second}).second);
        // Found again by the lookup from two sides with that material.
        Side sa = sideWith(a), sb = sideWith(b);
        EXPECT_EQ(endgameIndex(&sa, &sb), int(i));
        EXPECT_EQ(materialHash(&sa), first);
    }
}

// The model's score computed independently in double precision.
double referenceScore(int men, float class_term) {
    const float* w = eval_weights[men - 4];
    double s = class_term + w[127];
    for (int i = 0; i < NUM_FEATURES; i++) s += double(_features_[i]) * w[i];
    return s;
}
} // namespace

TEST(Model, MaterialClassKeys) {
    checkKeys(endgame_keys_4, 4);
    checkKeys(endgame_keys_5, 5);
    checkKeys(endgame_keys_6, 6);
}

TEST(Model, ClassIndexAndSignRule) {
    // King and rook against king and rook: equal signatures, the side to move first: +16.
    for (const char* fen : {"4k3/8/8/r7/8/8/7R/4K3 w - - 0 1", "4k3/8/8/r7/8/8/7R/4K3 b - - 0 1"}) {
        setUp(fen);
        EXPECT_EQ(materialHash(curr_ply->player), 512);
        EXPECT_EQ(signedMaterialClass(curr_ply->player, curr_ply->opponent), 16);
        EXPECT_EQ(materialClassTerm(curr_ply->player, curr_ply->opponent, 4), endgame_bias_4[16]);
    }
    // King and knight against king and pawn, the pawn side to move: -3.
    setUp("4k3/8/8/8/3n4/8/4P3/4K3 w - - 0 1");
    EXPECT_EQ(materialHash(curr_ply->player), 1);
    EXPECT_EQ(materialHash(curr_ply->opponent), 8);
    EXPECT_EQ(signedMaterialClass(curr_ply->player, curr_ply->opponent), -3);
    EXPECT_EQ(materialClassTerm(curr_ply->player, curr_ply->opponent, 4), -endgame_bias_4[3]);
    setUp("4k3/8/8/8/3n4/8/4P3/4K3 b - - 0 1");
    EXPECT_EQ(signedMaterialClass(curr_ply->player, curr_ply->opponent), 3);
    // The queen's signature outweighs three rooks whatever the balance: the queen side is first.
    setUp("1r2k3/8/8/8/8/r7/Q6r/4K3 w - - 0 1");
    EXPECT_EQ(signedMaterialClass(curr_ply->player, curr_ply->opponent),
              endgameIndex(curr_ply->player, curr_ply->opponent));
    setUp("1r2k3/8/8/8/8/r7/Q6r/4K3 b - - 0 1");
    EXPECT_LT(signedMaterialClass(curr_ply->player, curr_ply->opponent), 0);
}

TEST(Model, EvaluateMatchesTheLinearModel) {
    std::vector<std::string> fens = samplePositions(4999, 200);
    for (const char* fen : {START_FEN, "4k3/8/8/r7/8/8/7R/4K3 w - - 0 1", "4k3/8/8/8/3n4/8/4P3/4K3 w - - 0 1",
                            "8/8/3k4/2p5/8/1BN5/4K3/8 w - - 3 40", "8/2p5/3k4/2p5/8/1BN5/4K3/8 b - - 3 40",
                            "r5k1/5ppp/8/8/8/8/5PPP/3R2K1 w - - 0 1"})
        fens.push_back(fen);
    for (const std::string& fen : fens) {
        int score = evaluationOf(fen.c_str());
        int men = popcount(curr_ply->occupancy);
        float c = men <= 6 ? materialClassTerm(curr_ply->player, curr_ply->opponent, men) : 0.0f;
        double reference = std::clamp(referenceScore(men, c), -29936.0, 29936.0);
        // Truncated toward zero; single-precision sums may differ from the double sum by a hair.
        EXPECT_NEAR(score, std::trunc(reference), 1.0) << fen;
        if (std::fabs(reference) < 0.99) {
            EXPECT_EQ(score, 0) << fen; // toward zero, not down
        }
    }
}

TEST(Model, PositionsSettledBeforeTheModel) {
    // Bare kings.
    EXPECT_EQ(evaluationOf("8/8/4k3/8/8/3K4/8/8 w - - 0 1"), 0);
    // Stalemated bare king: 0 whatever the material.
    EXPECT_EQ(evaluationOf("7k/5K2/6Q1/8/8/8/P7/8 b - - 0 1"), 0);
    // With a free square the model scores it, far down for the bare king.
    EXPECT_LT(evaluationOf("7k/5K2/8/6Q1/8/8/P7/8 b - - 0 1"), -500);
    // Three men: the score of the endgame rules.
    for (const char* fen :
         {"4k3/8/4K3/4P3/8/8/8/8 w - - 0 1", "3k4/8/8/3K4/3P4/8/8/8 w - - 0 1", "7k/8/8/8/8/8/8/R3K3 w - - 0 1"}) {
        int score = evaluationOf(fen);
        int expected = -1;
        ASSERT_EQ(probeEndgame(curr_ply, &expected), 1);
        EXPECT_EQ(score, expected) << fen;
    }
}

TEST(Model, EvaluationDoesNotDependOnEarlierCalls) {
    const char* fen = "r1bqkb1r/pppp1ppp/2n2n2/4p3/2B1P3/5N2/PPPP1PPP/RNBQK2R w KQkq - 4 4";
    int first = evaluationOf(fen);
    evaluationOf("8/8/3k4/2p5/8/1BN5/4K3/8 w - - 3 40");
    EXPECT_EQ(evaluationOf(fen), first);
    EXPECT_EQ(evaluate(curr_ply), first);
}
