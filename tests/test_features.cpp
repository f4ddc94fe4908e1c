// The feature vector: known vectors of small positions, the square sets behind them, the
// stalemate zeroing and colour symmetry over many real positions.
#include <algorithm>
#include <map>
#include "tests/evaluation_fixture.h"
#include "engine/board/attacks.h"
#include "sliders/sliders.h"
#include "evaluation/evaluation.h"

namespace {
// The non-zero entries of a vector.
std::map<int, int> nonZero(const std::vector<int>& f) {
    std::map<int, int> m;
    for (int i = 0; i < int(f.size()); i++)
        if (f[i]) m[i] = f[i];
    return m;
}
} // namespace

TEST(Features, StartPositionAndFirstMove) {
    EXPECT_EQ(nonZero(featuresOf(START_FEN)), (std::map<int, int>{}));
    // Black to move after 1.e4: White's e-pawn has gone from its rank 2 to its rank 4, where the
    // g1 knight, f1 bishop, d1 queen and e1 king no longer defend it.
    std::map<int, int> e4 = {
        {pawnRankFeature(2, false), 1},       {pawnRankFeature(4, false), -1},   {defenceFeature(KNIGHT, PAWN), -1},
        {defenceFeature(BISHOP, PAWN), -1},   {defenceFeature(QUEEN, PAWN), -1}, {defenceFeature(KING, PAWN), -1},
        {featureIndex(SAFE_PAWN_PUSHES), -1}, {safeSquaresFeature(KNIGHT), -2},  {safeSquaresFeature(BISHOP), -4},
        {safeSquaresFeature(QUEEN), -4},      {safeSquaresFeature(KING), -1},    {featureIndex(CENTRE_PRESENCE), -4},
        {featureIndex(CHECK_SQUARES), -2}};
    EXPECT_EQ(nonZero(featuresOf("rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR b KQkq e3 0 1")), e4);
    // Reached by playing the move: the pawn sets and attacks come from makeMove.
    EXPECT_EQ(nonZero(featuresOf(START_FEN, "e2e4")), e4);
    EXPECT_EQ(_features_[MAX_FEATURES - 1], 127);
}

TEST(Features, PawnStructure) {
    // Doubled and isolated pawns on e2 and e3, both passed, on relative ranks 2 and 3.
    std::vector<int> f = featuresOf("4k3/8/8/8/8/4P3/4P3/4K3 w - - 0 1");
    EXPECT_EQ(f[featureIndex(DOUBLED_PAWNS)], 1);
    EXPECT_EQ(f[featureIndex(ISOLATED_PAWNS)], 2);
    EXPECT_EQ(f[pawnRankFeature(2, true)], 1);
    EXPECT_EQ(f[pawnRankFeature(3, true)], 1);
    EXPECT_EQ(f[featureIndex(PIECE_COUNT)], 2);
    EXPECT_EQ(f[featureIndex(BARE_KING)], -1);
    // A black pawn on e2 stands on Black's relative rank 7, passed.
    f = featuresOf("4k3/8/8/8/8/8/4p3/K7 b - - 0 1");
    EXPECT_EQ(f[pawnRankFeature(7, true)], 1);
    EXPECT_EQ(f[pawnRankFeature(7, false)], 0);
    // Pawns facing each other on one file are not passed: White's on its relative rank 4,
    // Black's on its relative rank 3.
    f = featuresOf("4k3/8/4p3/8/4P3/8/8/4K3 w - - 0 1");
    EXPECT_EQ(f[pawnRankFeature(4, false)], 1);
    EXPECT_EQ(f[pawnRankFeature(3, false)], -1);
    EXPECT_EQ(f[pawnRankFeature(4, true)] | f[pawnRankFeature(3, true)], 0);
}

TEST(Features, CornerRings) {
    EXPECT_EQ(featuresOf("4k3/8/8/8/3N4/8/8/R3K3 w - - 0 1")[ringFeature(ROOK, 0)], 1);   // rook a1
    EXPECT_EQ(featuresOf("4k3/8/8/8/3N4/8/8/R3K3 w - - 0 1")[ringFeature(KNIGHT, 6)], 1); // knight d4
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
            if (f[ringFeature(KNIGHT, d)] == -1) ring_size[d]++, found++;
        EXPECT_EQ(found, 1) << fen;
    }
    EXPECT_EQ(std::vector<int>(ring_size, ring_size + 7), (std::vector<int>{4, 8, 12, 16, 12, 8, 4}));
    // Ring 1 is b1, a2, g1, h2, a7, b8, h7, g8; ring 6 the four centre squares.
    for (const char* fen :
         {"4k3/8/8/8/8/8/8/1N2K3 b - - 0 1", "4k3/8/8/8/8/8/N7/4K3 b - - 0 1", "4k3/N7/8/8/8/8/8/4K3 b - - 0 1",
          "1N2k3/8/8/8/8/8/8/4K3 b - - 0 1", "4k3/7N/8/8/8/8/8/4K3 b - - 0 1", "4k1N1/8/8/8/8/8/8/4K3 b - - 0 1"})
        EXPECT_EQ(featuresOf(fen)[ringFeature(KNIGHT, 1)], -1) << fen;
    for (const char* fen :
         {"4k3/8/8/3N4/8/8/8/4K3 b - - 0 1", "4k3/8/8/4N3/8/8/8/4K3 b - - 0 1", "4k3/8/8/8/4N3/8/8/4K3 b - - 0 1"})
        EXPECT_EQ(featuresOf(fen)[ringFeature(KNIGHT, 6)], -1) << fen;
}

TEST(Features, ThreatsAndDefence) {
    // White knight f4 attacks the black queen d5, which the c6 pawn defends.
    std::vector<int> f = featuresOf("4k3/8/2p5/3q4/5N2/8/8/4K3 w - - 0 1");
    EXPECT_EQ(f[threatFeature(KNIGHT, QUEEN)], 1);
    EXPECT_EQ(f[defenceFeature(PAWN, QUEEN)], 1); // opponent first
    // The same with Black to move: both signs turn.
    f = featuresOf("4k3/8/2p5/3q4/5N2/8/8/4K3 b - - 0 1");
    EXPECT_EQ(f[threatFeature(KNIGHT, QUEEN)], -1);
    EXPECT_EQ(f[defenceFeature(PAWN, QUEEN)], -1);
    // Two knights on one target count once.
    f = featuresOf("4k3/8/8/3r4/8/2N1N3/8/4K3 w - - 0 1");
    EXPECT_EQ(f[threatFeature(KNIGHT, ROOK)], 1);
}

TEST(Features, StalematedBareKingGivesZeros) {
    // Black king h8 against king f7, queen g6 and pawn a2: every neighbouring square is attacked.
    std::vector<int> f = featuresOf("7k/5K2/6Q1/8/8/8/P7/8 b - - 0 1");
    EXPECT_EQ(nonZero(f), (std::map<int, int>{}));
    EXPECT_EQ(_features_[MAX_FEATURES - 1], 127);
    // With a free square (g6 queen moved to g5) the features are computed as usual.
    f = featuresOf("7k/5K2/8/6Q1/8/8/P7/8 b - - 0 1");
    EXPECT_EQ(f[featureIndex(PIECE_COUNT)], -2);
    EXPECT_EQ(f[featureIndex(BARE_KING)], 1);
}

namespace {
// Positions of every kind for the checks below: the classic perft positions, endings with a
// material class, castling rights and en passant squares, pins, checks and a stalemated bare king.
std::vector<std::string> ownPositions() {
    std::vector<std::string> fens(CLASSIC_FENS, CLASSIC_FENS + 4);
    for (const char* fen :
         {"8/8/4k3/8/2r5/8/3RK3/8 w - - 0 1", "8/2n5/4k3/8/8/3P4/4K3/8 b - - 0 1",
          "8/8/3k4/2p5/8/1BN5/4K3/8 w - - 3 40", "r3k2r/pp3ppp/8/3pP3/8/8/PP3PPP/R3K2R w Kq d6 0 12",
          "7k/5K2/6Q1/8/8/8/P7/8 b - - 0 1", "rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR b KQkq e3 0 1",
          "4k3/8/2p5/3q4/5N2/8/8/4K3 w - - 0 1", "4k3/4r3/8/1b6/8/3N4/4B3/R3K3 w - - 0 1",
          "3qk3/8/8/8/Q7/8/3R4/3K4 b - - 0 1", "r1bq1rk1/pp2ppbp/2np1np1/8/3NP3/2N1BP2/PPPQ2PP/R3KB1R w KQ - 3 9",
          "8/5pk1/6p1/3P4/2K5/8/8/8 b - - 0 50", "6k1/5ppp/8/8/8/8/1q3PPP/2R3K1 w - - 0 30"})
        fens.push_back(fen);
    return fens;
}

// The same vector and score with the colours exchanged and the board reflected.
void expectColourSymmetry(const std::vector<std::string>& fens) {
    for (const std::string& fen : fens) {
        std::vector<int> f = featuresOf(fen.c_str());
        int score = evaluate(curr_ply);
        std::string mirrored = mirrorFen(fen);
        std::vector<int> g = featuresOf(mirrored.c_str());
        EXPECT_EQ(f, g) << fen << " / " << mirrored;
        EXPECT_EQ(evaluate(curr_ply), score) << fen << " / " << mirrored;
    }
}
} // namespace

TEST(Features, ColourMirrorGivesTheSameVectorAndScore) { expectColourSymmetry(ownPositions()); }

// An independent, slow computation of the vector from the pieces alone: attack sets, pins,
// checking squares and pawn structure worked out square by square, then each feature by its
// definition. It cross-checks the features together with the attack information they read.
namespace {
struct SlowSide {
    int colour;
    Bitboard pieces[7];
    int king;
    Bitboard att[7];
    Bitboard pinned, checks, passed, not_passed, doubled, isolated;
};

Bitboard slowAttacks(int colour, int type, int s, Bitboard occupancy) {
    switch (type) {
    case PAWN: return pawn_attacks[colour][s];
    case KNIGHT: return knight_attacks[s];
    case BISHOP: return getBishopMoves(occupancy, s);
    case ROOK: return getRookMoves(occupancy, s);
    case QUEEN: return getQueenMoves(occupancy, s);
    default: return king_attacks[s];
    }
}

SlowSide slowSide(const Side* me, const Side* enemy, int colour) {
    SlowSide r{};
    r.colour = colour;
    for (int t = 0; t < 7; t++) r.pieces[t] = me->pieces[t];
    r.king = lsb(me->pieces[KING]);
    Bitboard occupancy = me->pieces[0] | enemy->pieces[0];
    for (int s = 0; s < 64; s++)
        for (int t = PAWN; t <= KING; t++)
            if (me->pieces[t] & bit(s)) {
                r.att[t] |= slowAttacks(colour, t, s, occupancy);
                r.att[0] |= slowAttacks(colour, t, s, occupancy);
            }
    // Pins: walk out from the king; an own piece followed by an enemy slider of that line.
    const int dirs[8][2] = {{0, 1}, {1, 0}, {0, -1}, {-1, 0}, {1, 1}, {1, -1}, {-1, 1}, {-1, -1}};
    for (int d = 0; d < 8; d++) {
        int f = r.king % 8, k = r.king / 8, first = -1;
        Bitboard sliders = enemy->pieces[QUEEN] | enemy->pieces[d < 4 ? ROOK : BISHOP];
        for (f += dirs[d][0], k += dirs[d][1]; f >= 0 && f < 8 && k >= 0 && k < 8; f += dirs[d][0], k += dirs[d][1]) {
            Bitboard b = bit(8 * k + f);
            if (!(occupancy & b)) continue;
            if (first < 0 && (me->pieces[0] & b)) {
                first = 8 * k + f;
                continue;
            }
            if (first >= 0 && (sliders & b)) r.pinned |= bit(first);
            break;
        }
    }
    if (enemy->pieces[PAWN]) r.checks |= pawn_attacks[colour][r.king];
    if (enemy->pieces[KNIGHT]) r.checks |= knight_attacks[r.king];
    if (enemy->pieces[BISHOP] | enemy->pieces[QUEEN]) r.checks |= getBishopMoves(occupancy, r.king);
    if (enemy->pieces[ROOK] | enemy->pieces[QUEEN]) r.checks |= getRookMoves(occupancy, r.king);
    // Pawn structure.
    for (int s = 0; s < 64; s++) {
        if (!(me->pieces[PAWN] & bit(s))) continue;
        bool passed = true, doubled = false, isolated = true;
        for (int t = 0; t < 64; t++) {
            bool ahead = colour == WHITE ? t / 8 > s / 8 : t / 8 < s / 8;
            int df = t % 8 - s % 8;
            if (ahead && df >= -1 && df <= 1 && (enemy->pieces[PAWN] & bit(t))) passed = false;
            if (ahead && df == 0 && (me->pieces[PAWN] & bit(t))) doubled = true;
            if ((df == -1 || df == 1) && (me->pieces[PAWN] & bit(t))) isolated = false;
        }
        (passed ? r.passed : r.not_passed) |= bit(s);
        if (doubled) r.doubled |= bit(s);
        if (isolated) r.isolated |= bit(s);
    }
    return r;
}

int relativeRank(int colour, int s) { return colour == WHITE ? s / 8 + 1 : 8 - s / 8; }
int countOnRank(Bitboard b, int colour, int r) {
    int n = 0;
    for (int s = 0; s < 64; s++) n += (b & bit(s)) && relativeRank(colour, s) == r;
    return n;
}
int ring(int s) { return std::min(s % 8, 7 - s % 8) + std::min(s / 8, 7 - s / 8); }
int countInRing(Bitboard b, int d) {
    int n = 0;
    for (int s = 0; s < 64; s++) n += (b & bit(s)) && ring(s) == d;
    return n;
}
// Files c-f of the colour's own relative ranks 3 and 4.
Bitboard ownCentre(int colour) {
    Bitboard b = 0;
    for (int s = 0; s < 64; s++)
        if (s % 8 >= 2 && s % 8 <= 5 && (relativeRank(colour, s) == 3 || relativeRank(colour, s) == 4)) b |= bit(s);
    return b;
}

std::vector<int> slowFeatures(const Ply* ply) {
    int pc = ply->player->info->colour;
    SlowSide P = slowSide(ply->player, ply->opponent, pc), O = slowSide(ply->opponent, ply->player, 1 - pc);
    std::vector<int> f(NUM_FEATURES);
    int pm = popcount(P.pieces[0]), om = popcount(O.pieces[0]);
    f[featureIndex(PIECE_COUNT)] = pm - om;
    f[featureIndex(BARE_KING)] = (pm == 1) - (om == 1);
    for (int r = 2; r <= 7; r++) {
        f[pawnRankFeature(r, false)] = countOnRank(P.not_passed, P.colour, r) - countOnRank(O.not_passed, O.colour, r);
        f[pawnRankFeature(r, true)] = countOnRank(P.passed, P.colour, r) - countOnRank(O.passed, O.colour, r);
    }
    for (int t = KNIGHT; t <= KING; t++)
        for (int d = 0; d < 7; d++) f[ringFeature(t, d)] = countInRing(P.pieces[t], d) - countInRing(O.pieces[t], d);
    for (int a = PAWN; a <= KING; a++)
        for (int v = PAWN; v <= QUEEN; v++) {
            f[threatFeature(a, v)] = popcount(O.pieces[v] & P.att[a]) - popcount(P.pieces[v] & O.att[a]);
            f[defenceFeature(a, v)] = popcount(O.pieces[v] & O.att[a]) - popcount(P.pieces[v] & P.att[a]);
        }
    Bitboard empty = ~(P.pieces[0] | O.pieces[0]);
    auto pushes = [](const SlowSide& s) {
        Bitboard b = 0;
        for (int q = 0; q < 64; q++)
            if (s.pieces[PAWN] & bit(q)) b |= bit(s.colour == WHITE ? q + 8 : q - 8);
        return b;
    };
    f[featureIndex(SAFE_PAWN_PUSHES)] =
        popcount(pushes(P) & empty & ~O.att[0]) - popcount(pushes(O) & empty & ~P.att[0]);
    for (int t = KNIGHT; t <= KING; t++)
        f[safeSquaresFeature(t)] = popcount(P.att[t] & empty & ~O.att[0]) - popcount(O.att[t] & empty & ~P.att[0]);
    f[featureIndex(DOUBLED_PAWNS)] = popcount(P.doubled) - popcount(O.doubled);
    f[featureIndex(ISOLATED_PAWNS)] = popcount(P.isolated) - popcount(O.isolated);
    for (int t = PAWN; t <= QUEEN; t++)
        f[pinnedFeature(t)] = popcount(P.pieces[t] & P.pinned) - popcount(O.pieces[t] & O.pinned);
    for (int t = 1; t <= 6; t++)
        f[featureIndex(CENTRE_PRESENCE)] +=
            popcount(P.pieces[t] & ownCentre(P.colour)) + popcount(P.att[t] & ownCentre(P.colour)) -
            popcount(O.pieces[t] & ownCentre(O.colour)) - popcount(O.att[t] & ownCentre(O.colour));
    auto cover = [](const SlowSide& s) { return s.pieces[0] | s.att[1] | s.att[2] | s.att[3] | s.att[4] | s.att[5]; };
    f[featureIndex(KING_COVER)] = popcount(cover(P) & king_attacks[P.king]) - popcount(cover(O) & king_attacks[O.king]);
    auto support = [](const SlowSide& s) { return s.att[1] | s.att[2] | s.att[3] | s.att[4] | s.att[6]; };
    f[featureIndex(QUEEN_KING_ATTACKS)] =
        popcount(O.att[5] & king_attacks[P.king] & support(O)) - popcount(P.att[5] & king_attacks[O.king] & support(P));
    const int value[6] = {0, 100, 300, 300, 500, 900};
    for (int t = 1; t <= 5; t++)
        f[featureIndex(KING_ZONE_ATTACKS)] +=
            value[t] * (popcount(O.att[t] & king_attacks[P.king]) - popcount(P.att[t] & king_attacks[O.king]));
    f[featureIndex(CHECK_SQUARES)] = popcount(P.checks) - popcount(O.checks);
    if (pm == 1 && !(king_attacks[P.king] & ~O.att[0])) std::fill(f.begin(), f.end(), 0);
    return f;
}

// The fast features against the slow computation, block by block.
void expectSlowFeatures(const std::vector<std::string>& fens) {
    for (const std::string& fen : fens) {
        std::vector<int> fast = featuresOf(fen.c_str());
        std::vector<int> slow = slowFeatures(curr_ply);
        for (const FeatureBlock& block : feature_blocks)
            for (int i = block.first; i < block.first + block.length; i++)
                EXPECT_EQ(fast[i], slow[i]) << block.name << ": feature " << i << " of " << fen;
    }
}
} // namespace

TEST(Features, AgreeWithASlowComputationFromThePieces) { expectSlowFeatures(ownPositions()); }

// The large cross-check: both checks over labelled positions of real games.
TEST(Features, LabelledPositionsCrossCheck) {
    std::vector<std::string> fens = samplePositions(997, 1000);
    if (fens.size() < 900) GTEST_SKIP() << "no training positions in " VIREO_SHARED_DIR "/training";
    expectColourSymmetry(fens);
    fens.resize(500);
    expectSlowFeatures(fens);
}
