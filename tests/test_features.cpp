// The feature vector: known vectors of small positions, the square sets behind them, the
// stalemate zeroing and colour symmetry over many real positions.
#include <map>
#include "tests/evaluation_fixture.h"
#include "evaluation/evaluation.h"

namespace {
// The non-zero entries of a vector.
std::map<int, int> nonZero(const std::vector<int>& f) {
    std::map<int, int> m;
    for (int i = 0; i < int(f.size()); i++)
        if (f[i]) m[i] = f[i];
    return m;
}
const char* const START = "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1";
} // namespace

TEST(Features, StartPositionAndFirstMove) {
    EXPECT_EQ(nonZero(featuresOf(START)), (std::map<int, int>{}));
    std::map<int, int> e4 = {{2, 1},    {6, -1},   {60, -1},  {70, -1},  {90, -1},  {100, -1}, {109, -1},
                             {110, -2}, {111, -4}, {113, -4}, {114, -1}, {122, -4}, {126, -2}};
    EXPECT_EQ(nonZero(featuresOf("rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR b KQkq e3 0 1")), e4);
    // Reached by playing the move: the pawn sets and attacks come from makeMove.
    setUp(START, "e2e4");
    computeAttacks();
    computeFeatures(curr_ply->player, curr_ply->opponent);
    EXPECT_EQ(nonZero(std::vector<int>(_features_, _features_ + NUM_FEATURES)), e4);
    EXPECT_EQ(_features_[MAX_FEATURES - 1], 127);
}

TEST(Features, PawnStructure) {
    // Doubled and isolated pawns on e2 and e3, both passed, on relative ranks 2 and 3.
    std::vector<int> f = featuresOf("4k3/8/8/8/8/4P3/4P3/4K3 w - - 0 1");
    EXPECT_EQ(f[115], 1);
    EXPECT_EQ(f[116], 2);
    EXPECT_EQ(f[3], 1);
    EXPECT_EQ(f[5], 1);
    EXPECT_EQ(f[0], 2);
    EXPECT_EQ(f[1], -1);
    // A black pawn on e2 stands on Black's relative rank 7: passed, feature 13.
    f = featuresOf("4k3/8/8/8/8/8/4p3/K7 b - - 0 1");
    EXPECT_EQ(f[13], 1);
    EXPECT_EQ(f[12], 0);
    // Pawns facing each other on one file are not passed: White's on its relative rank 4,
    // Black's on its relative rank 3.
    f = featuresOf("4k3/8/4p3/8/4P3/8/8/4K3 w - - 0 1");
    EXPECT_EQ(f[6], 1);
    EXPECT_EQ(f[4], -1);
    EXPECT_EQ(f[7] | f[5], 0);
}

TEST(Features, CornerRings) {
    EXPECT_EQ(featuresOf("4k3/8/8/8/3N4/8/8/R3K3 w - - 0 1")[28], 1); // rook a1, ring 0
    EXPECT_EQ(featuresOf("4k3/8/8/8/3N4/8/8/R3K3 w - - 0 1")[20], 1); // knight d4, ring 6
    // A white knight on every square in turn, Black to move: its ring feature reads -1.
    int ring_size[7] = {};
    for (int s = 0; s < 64; s++) {
        int wk = s == 0 || s == 63 ? 7 : 0, bk = s == 0 || s == 63 ? 56 : 63;
        std::string board[8];
        for (int r = 0; r < 8; r++) board[r] = "........";
        board[s >> 3][s & 7] = 'N';
        board[wk >> 3][wk & 7] = 'K';
        board[bk >> 3][bk & 7] = 'k';
        std::string fen;
        for (int r = 7; r >= 0; r--) fen += board[r] + (r ? "/" : "");
        for (char d = '8'; d >= '1'; d--) { // dots to FEN digits
            std::string run(size_t(d - '0'), '.');
            for (size_t p; (p = fen.find(run)) != std::string::npos;) fen.replace(p, run.size(), 1, d);
        }
        std::vector<int> f = featuresOf((fen + " b - - 0 1").c_str());
        int found = 0;
        for (int d = 0; d < 7; d++)
            if (f[14 + d] == -1) ring_size[d]++, found++;
        EXPECT_EQ(found, 1) << fen;
    }
    EXPECT_EQ(std::vector<int>(ring_size, ring_size + 7), (std::vector<int>{4, 8, 12, 16, 12, 8, 4}));
    // Ring 1 is b1, a2, g1, h2, a7, b8, h7, g8; ring 6 the four centre squares.
    for (const char* fen : {"4k3/8/8/8/8/8/8/1N2K3 b - - 0 1", "4k3/8/8/8/8/8/N7/4K3 b - - 0 1",
                            "4k3/N7/8/8/8/8/8/4K3 b - - 0 1", "1N2k3/8/8/8/8/8/8/4K3 b - - 0 1",
                            "4k3/7N/8/8/8/8/8/4K3 b - - 0 1", "4k1N1/8/8/8/8/8/8/4K3 b - - 0 1"})
        EXPECT_EQ(featuresOf(fen)[15], -1) << fen;
    for (const char* fen : {"4k3/8/8/3N4/8/8/8/4K3 b - - 0 1", "4k3/8/8/4N3/8/8/8/4K3 b - - 0 1",
                            "4k3/8/8/8/4N3/8/8/4K3 b - - 0 1"})
        EXPECT_EQ(featuresOf(fen)[20], -1) << fen;
}

TEST(Features, ThreatsAndDefence) {
    // White knight f4 attacks the black queen d5, which the c6 pawn defends.
    std::vector<int> f = featuresOf("4k3/8/2p5/3q4/5N2/8/8/4K3 w - - 0 1");
    EXPECT_EQ(f[67], 1); // knight row, queen threat
    EXPECT_EQ(f[58], 1); // pawn row, queen defence (opponent first)
    // The same with Black to move: both signs turn.
    f = featuresOf("4k3/8/2p5/3q4/5N2/8/8/4K3 b - - 0 1");
    EXPECT_EQ(f[67], -1);
    EXPECT_EQ(f[58], -1);
    // Two knights on one target count once.
    f = featuresOf("4k3/8/8/3r4/8/2N1N3/8/4K3 w - - 0 1");
    EXPECT_EQ(f[49 + 10 + 6], 1);
}

TEST(Features, StalematedBareKingGivesZeros) {
    // Black king h8 against king f7, queen g6 and pawn a2: every neighbouring square is attacked.
    std::vector<int> f = featuresOf("7k/5K2/6Q1/8/8/8/P7/8 b - - 0 1");
    EXPECT_EQ(nonZero(f), (std::map<int, int>{}));
    EXPECT_EQ(_features_[MAX_FEATURES - 1], 127);
    // With a free square (g6 queen moved to g5) the features are computed as usual.
    f = featuresOf("7k/5K2/8/6Q1/8/8/P7/8 b - - 0 1");
    EXPECT_EQ(f[0], -2);
    EXPECT_EQ(f[1], 1);
}

TEST(Features, ColourMirrorGivesTheSameVectorAndScore) {
    std::vector<std::string> fens = samplePositions(997, 1000);
    if (fens.empty()) GTEST_SKIP() << "no training positions in " VIREO_SHARED_DIR "/training";
    // Endings with a material class, castling rights and en passant squares as well.
    for (const char* fen : {"8/8/4k3/8/2r5/8/3RK3/8 w - - 0 1", "8/2n5/4k3/8/8/3P4/4K3/8 b - - 0 1",
                            "8/8/3k4/2p5/8/1BN5/4K3/8 w - - 3 40", "r3k2r/pp3ppp/8/3pP3/8/8/PP3PPP/R3K2R w Kq d6 0 12",
                            "7k/5K2/6Q1/8/8/8/P7/8 b - - 0 1"})
        fens.push_back(fen);
    int checked = 0;
    for (const std::string& fen : fens) {
        std::vector<int> f = featuresOf(fen.c_str());
        int score = evaluate(curr_ply);
        std::string mirrored = mirrorFen(fen);
        std::vector<int> g = featuresOf(mirrored.c_str());
        EXPECT_EQ(f, g) << fen << " / " << mirrored;
        EXPECT_EQ(evaluate(curr_ply), score) << fen << " / " << mirrored;
        checked++;
    }
    EXPECT_GE(checked, 900);
}
