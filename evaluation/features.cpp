// Feature extraction: population counts of masked bitboards, straight-line code. The order and
// the signs of the features are also the column layout of the feature rows written for fitting.
#include <array>
#include "features.h"
#include "../engine/board/attacks.h"
#include "../platform/vector.h"

int _features_[MAX_FEATURES];

namespace {

// Without the processor's population count instruction the compiler calls a library routine for
// every count; the features make some 270 counts, so they use an inline bit-parallel count then.
#if defined(__POPCNT__)
inline int count(Bitboard b) { return popcount(b); }
#else
inline int count(Bitboard b) {
    b = b - ((b >> 1) & 0x5555555555555555ULL);
    b = (b & 0x3333333333333333ULL) + ((b >> 2) & 0x3333333333333333ULL);
    b = (b + (b >> 4)) & 0x0f0f0f0f0f0f0f0fULL;
    return int((b * 0x0101010101010101ULL) >> 56);
}
#endif

// relative_ranks[colour][r]: the rank that is the colour's r-th rank (1..8) counted from its own side.
constexpr std::array<std::array<Bitboard, 9>, 2> relative_ranks = [] {
    std::array<std::array<Bitboard, 9>, 2> t{};
    for (int r = 1; r <= 8; r++) {
        t[WHITE][r] = RANK_1 << (8 * (r - 1));
        t[BLACK][r] = RANK_1 << (8 * (8 - r));
    }
    return t;
}();

inline Bitboard pawnPushes(const Side* s) {
    Bitboard pawns = s->pieces[PAWN];
    return s->info->colour == WHITE ? pawns << 8 : pawns >> 8;
}

// A side's attacks on the squares of a king zone, each counted at the value of the attacking piece.
inline int kingZoneAttacks(const Bitboard* att, Bitboard zone) {
    return piece_value[PAWN] * count(att[PAWN] & zone) + piece_value[KNIGHT] * count(att[KNIGHT] & zone) +
           piece_value[BISHOP] * count(att[BISHOP] & zone) + piece_value[ROOK] * count(att[ROOK] & zone) +
           piece_value[QUEEN] * count(att[QUEEN] & zone);
}

} // namespace

void computeFeatures(const Side* P, const Side* O) {
    int* f = _features_;
    const Bitboard* pa = P->attacks->attacked;
    const Bitboard* oa = O->attacks->attacked;
    const int pc = P->info->colour, oc = O->info->colour;
    const Bitboard empty = ~(P->pieces[0] | O->pieces[0]);
    const Bitboard p_zone = king_attacks[P->king], o_zone = king_attacks[O->king];

    int p_men = count(P->pieces[0]), o_men = count(O->pieces[0]);
    f[featureIndex(PIECE_COUNT)] = p_men - o_men;
    f[featureIndex(BARE_KING)] = (p_men == 1) - (o_men == 1);

    for (int r = 2; r <= 7; r++) {
        Bitboard pr = relative_ranks[pc][r], or_ = relative_ranks[oc][r];
        f[pawnRankFeature(r, false)] = count(P->not_passed & pr) - count(O->not_passed & or_);
        f[pawnRankFeature(r, true)] = count(P->passed & pr) - count(O->passed & or_);
    }

    // Knights to kings by corner ring, from the counts that makeMove keeps: byte d of each word
    // counts one side's pieces of the type in ring d.
    for (int t = KNIGHT; t <= KING; t++) {
        uint64_t p_rings = P->ring_counts[t - KNIGHT], o_rings = O->ring_counts[t - KNIGHT];
        // The seven byte differences and an eighth (always 0), which lands on the next type's first
        // feature, or after the kings on the first threat feature, written further down.
        static_assert(ringFeature(KING, 6) + 1 == threatFeature(PAWN, PAWN));
        byteDifferences(p_rings, o_rings, f + ringFeature(t, 0));
    }

    // Threats (attacker of type a on enemy targets of type v) and defence (opponent first).
    for (int a = PAWN; a <= KING; a++)
        for (int v = PAWN; v <= QUEEN; v++) {
            f[threatFeature(a, v)] = count(O->pieces[v] & pa[a]) - count(P->pieces[v] & oa[a]);
            f[defenceFeature(a, v)] = count(O->pieces[v] & oa[a]) - count(P->pieces[v] & pa[a]);
        }

    // Safe squares: empty and not attacked by the other side at all.
    const Bitboard p_safe = empty & ~oa[0], o_safe = empty & ~pa[0];
    f[featureIndex(SAFE_PAWN_PUSHES)] = count(pawnPushes(P) & p_safe) - count(pawnPushes(O) & o_safe);
    for (int t = KNIGHT; t <= KING; t++) f[safeSquaresFeature(t)] = count(pa[t] & p_safe) - count(oa[t] & o_safe);

    f[featureIndex(DOUBLED_PAWNS)] = count(P->doubled) - count(O->doubled);
    f[featureIndex(ISOLATED_PAWNS)] = count(P->isolated) - count(O->isolated);
    for (int t = PAWN; t <= QUEEN; t++)
        f[pinnedFeature(t)] = count(P->pieces[t] & P->attacks->pinned) - count(O->pieces[t] & O->attacks->pinned);

    // Centre presence in the centre band of each side's own half (the enemy's far centre).
    const Bitboard p_centre = O->info->far_centre, o_centre = P->info->far_centre;
    int centre = count(P->pieces[0] & p_centre) - count(O->pieces[0] & o_centre);
    for (int t = PAWN; t <= KING; t++) centre += count(pa[t] & p_centre) - count(oa[t] & o_centre);
    f[featureIndex(CENTRE_PRESENCE)] = centre;

    const Bitboard p_cover = P->pieces[0] | pa[PAWN] | pa[KNIGHT] | pa[BISHOP] | pa[ROOK] | pa[QUEEN];
    const Bitboard o_cover = O->pieces[0] | oa[PAWN] | oa[KNIGHT] | oa[BISHOP] | oa[ROOK] | oa[QUEEN];
    f[featureIndex(KING_COVER)] = count(p_cover & p_zone) - count(o_cover & o_zone);

    const Bitboard p_support = pa[PAWN] | pa[KNIGHT] | pa[BISHOP] | pa[ROOK] | pa[KING];
    const Bitboard o_support = oa[PAWN] | oa[KNIGHT] | oa[BISHOP] | oa[ROOK] | oa[KING];
    f[featureIndex(QUEEN_KING_ATTACKS)] = count(oa[QUEEN] & p_zone & o_support) - count(pa[QUEEN] & o_zone & p_support);
    f[featureIndex(KING_ZONE_ATTACKS)] = kingZoneAttacks(oa, p_zone) - kingZoneAttacks(pa, o_zone);
    f[featureIndex(CHECK_SQUARES)] = count(P->attacks->check_squares[0]) - count(O->attacks->check_squares[0]);

    if (bareKingStalemated(P, O))
        for (int i = 0; i < NUM_FEATURES; i++) f[i] = 0;

    f[MAX_FEATURES - 1] = NUM_FEATURES;
}
