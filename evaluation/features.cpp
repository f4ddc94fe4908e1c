// Feature extraction: population counts of masked bitboards, straight-line code. The order and
// the signs of the features are also the column layout of the feature rows written for fitting.
#include <array>
#include "features.h"
#include "../engine/attacks.h"

int _features_[MAX_FEATURES];

namespace {

// relative_ranks[colour][r]: the rank that is the colour's r-th rank (1..8) counted from its own side.
constexpr std::array<std::array<Bitboard, 9>, 2> relative_ranks = [] {
    std::array<std::array<Bitboard, 9>, 2> t{};
    for (int r = 1; r <= 8; r++) {
        t[WHITE][r] = RANK_1 << (8 * (r - 1));
        t[BLACK][r] = RANK_1 << (8 * (8 - r));
    }
    return t;
}();

// Corner rings: the squares at Manhattan distance d from the nearest corner, d = 0..6.
constexpr std::array<Bitboard, 7> corner_rings = [] {
    std::array<Bitboard, 7> t{};
    for (int s = 0; s < 64; s++) {
        int f = s & 7, r = s >> 3;
        int df = f < 7 - f ? f : 7 - f, dr = r < 7 - r ? r : 7 - r;
        t[df + dr] |= Bitboard(1) << s;
    }
    return t;
}();

inline Bitboard pawnPushes(const Side* s) {
    Bitboard pawns = s->pieces[PAWN];
    return s->info->colour == WHITE ? pawns << 8 : pawns >> 8;
}

// Weighted attacks of `a` on the squares next to the king of `b`.
inline int kingZoneAttacks(const Bitboard* att, Bitboard zone) {
    return 100 * popcount(att[PAWN] & zone) + 300 * popcount(att[KNIGHT] & zone) + 300 * popcount(att[BISHOP] & zone) +
           500 * popcount(att[ROOK] & zone) + 900 * popcount(att[QUEEN] & zone);
}

} // namespace

void computeFeatures(const Side* P, const Side* O) {
    int* f = _features_;
    const Bitboard* pa = P->attacks->attacked;
    const Bitboard* oa = O->attacks->attacked;
    const int pc = P->info->colour, oc = O->info->colour;
    const Bitboard empty = ~(P->pieces[0] | O->pieces[0]);
    const Bitboard p_zone = king_attacks[P->king], o_zone = king_attacks[O->king];

    int p_men = popcount(P->pieces[0]), o_men = popcount(O->pieces[0]);
    f[0] = p_men - o_men;
    f[1] = (p_men == 1) - (o_men == 1);

    // Pawns by relative rank 2..7, not passed and passed.
    for (int k = 0; k < 6; k++) {
        Bitboard pr = relative_ranks[pc][k + 2], or_ = relative_ranks[oc][k + 2];
        f[2 + 2 * k] = popcount(P->not_passed & pr) - popcount(O->not_passed & or_);
        f[3 + 2 * k] = popcount(P->passed & pr) - popcount(O->passed & or_);
    }

    // Knights to kings by corner ring.
    for (int j = 0; j < 5; j++)
        for (int d = 0; d < 7; d++)
            f[14 + 7 * j + d] = popcount(P->pieces[KNIGHT + j] & corner_rings[d]) -
                                popcount(O->pieces[KNIGHT + j] & corner_rings[d]);

    // Threats (attacker of type a on enemy targets of type v) and defence (opponent first).
    for (int i = 0; i < 6; i++)
        for (int j = 0; j < 5; j++) {
            int a = PAWN + i, v = PAWN + j;
            f[49 + 10 * i + 2 * j] = popcount(O->pieces[v] & pa[a]) - popcount(P->pieces[v] & oa[a]);
            f[50 + 10 * i + 2 * j] = popcount(O->pieces[v] & oa[a]) - popcount(P->pieces[v] & pa[a]);
        }

    // Safe squares: empty and not attacked by the other side at all.
    const Bitboard p_safe = empty & ~oa[0], o_safe = empty & ~pa[0];
    f[109] = popcount(pawnPushes(P) & p_safe) - popcount(pawnPushes(O) & o_safe);
    for (int j = 0; j < 5; j++) f[110 + j] = popcount(pa[KNIGHT + j] & p_safe) - popcount(oa[KNIGHT + j] & o_safe);

    f[115] = popcount(P->doubled) - popcount(O->doubled);
    f[116] = popcount(P->isolated) - popcount(O->isolated);
    for (int j = 0; j < 5; j++)
        f[117 + j] = popcount(P->pieces[PAWN + j] & P->attacks->pinned) - popcount(O->pieces[PAWN + j] & O->attacks->pinned);

    // Centre presence in the centre band of each side's own half (the enemy's far centre).
    const Bitboard p_centre = O->info->far_centre, o_centre = P->info->far_centre;
    int centre = popcount(P->pieces[0] & p_centre) - popcount(O->pieces[0] & o_centre);
    for (int t = PAWN; t <= KING; t++) centre += popcount(pa[t] & p_centre) - popcount(oa[t] & o_centre);
    f[122] = centre;

    const Bitboard p_cover = P->pieces[0] | pa[PAWN] | pa[KNIGHT] | pa[BISHOP] | pa[ROOK] | pa[QUEEN];
    const Bitboard o_cover = O->pieces[0] | oa[PAWN] | oa[KNIGHT] | oa[BISHOP] | oa[ROOK] | oa[QUEEN];
    f[123] = popcount(p_cover & p_zone) - popcount(o_cover & o_zone);

    const Bitboard p_support = pa[PAWN] | pa[KNIGHT] | pa[BISHOP] | pa[ROOK] | pa[KING];
    const Bitboard o_support = oa[PAWN] | oa[KNIGHT] | oa[BISHOP] | oa[ROOK] | oa[KING];
    f[124] = popcount(oa[QUEEN] & p_zone & o_support) - popcount(pa[QUEEN] & o_zone & p_support);
    f[125] = kingZoneAttacks(oa, p_zone) - kingZoneAttacks(pa, o_zone);
    f[126] = popcount(P->attacks->check_squares[0]) - popcount(O->attacks->check_squares[0]);

    // A bare king with every neighbouring square attacked is stalemated: nothing to score.
    if (p_men == 1 && (p_zone & ~oa[0]) == 0)
        for (int i = 0; i < NUM_FEATURES; i++) f[i] = 0;

    f[MAX_FEATURES - 1] = NUM_FEATURES;
}
