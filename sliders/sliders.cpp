// Magic-multiplication tables for rooks and bishops. Every square uses a fixed index width
// (12 bits for rooks, 9 for bishops), so the lookup needs no per-square shift.
#include "sliders.h"
#include "../engine/board/assertion.h"
#include "../engine/board/attacks.h"

namespace sliders {
Bitboard rook_masks[64];
Bitboard bishop_masks[64];
Bitboard rook_table[64][4096];
Bitboard bishop_table[64][512];

namespace {
Bitboard walk(int square, Bitboard occupancy, const int (*steps)[2]) {
    Bitboard attacks = 0;
    for (int d = 0; d < 4; d++) {
        int f = (square & 7) + steps[d][0], r = (square >> 3) + steps[d][1];
        while (attack_geometry::onBoard(f, r)) {
            Bitboard b = Bitboard(1) << (f + 8 * r);
            attacks |= b;
            if (occupancy & b) break;
            f += steps[d][0];
            r += steps[d][1];
        }
    }
    return attacks;
}

void fillTable(bool rook) {
    for (int square = 0; square < 64; square++) {
        Bitboard mask = relevantMask(square, rook);
        (rook ? rook_masks : bishop_masks)[square] = mask;
        int bits = __builtin_popcountll(mask);
        if (rook) VIREO_ASSERT(bits >= 10 && bits <= 12);
        else VIREO_ASSERT(bits >= 5 && bits <= 9);
        for (uint64_t i = 0; i < (uint64_t(1) << bits); i++) {
            Bitboard occupancy = depositBits(i, mask);
            Bitboard moves = walkAttacks(square, occupancy, rook);
            if (rook) {
                rook_table[square][(occupancy * rook_magics[square]) >> 52] = moves;
                VIREO_ASSERT(moves == getRookMoves(occupancy, square));
            } else {
                bishop_table[square][(occupancy * bishop_magics[square]) >> 55] = moves;
                VIREO_ASSERT(moves == getBishopMoves(occupancy, square));
            }
        }
    }
}
} // namespace

Bitboard walkAttacks(int square, Bitboard occupancy, bool rook) {
    return walk(square, occupancy, rook ? attack_geometry::ROOK_DELTAS : attack_geometry::BISHOP_DELTAS);
}

Bitboard relevantMask(int square, bool rook) {
    Bitboard mask = walkAttacks(square, 0, rook);
    Bitboard here = Bitboard(1) << square;
    if (!(here & FILE_A)) mask &= ~FILE_A;
    if (!(here & FILE_H)) mask &= ~FILE_H;
    if (!(here & RANK_1)) mask &= ~RANK_1;
    if (!(here & RANK_8)) mask &= ~RANK_8;
    return mask;
}

Bitboard depositBits(uint64_t index, Bitboard mask) {
    Bitboard result = 0;
    for (int k = 0; mask; k++, mask &= mask - 1)
        if (index & (uint64_t(1) << k)) result |= mask & (0 - mask);
    return result;
}
} // namespace sliders

void initSliders() {
    sliders::fillTable(true);
    sliders::fillTable(false);
}
