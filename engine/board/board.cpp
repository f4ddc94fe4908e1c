// The ply stack, the colour records, Zobrist keys and the pawn-structure sets.
#include <cstring>
#include <array>
#include "board.h"
#include "attacks.h"

ColourInfo colour_info[2];
Ply plies[MAX_PLIES];
int ply_index = 0;
Ply* curr_ply = &plies[0];

void initColours() {
    colour_info[BLACK] = {0x00000000ffffffffULL, 0x000000003c3c0000ULL, BLACK, {0, 0, 128, 256, 384, 512, 640}};
    colour_info[WHITE] = {0xffffffff00000000ULL, 0x00003c3c00000000ULL, WHITE, {0, 64, 192, 320, 448, 576, 704}};
}

void resetStack() {
    // Records above the first are filled by makeMove before anything reads them.
    memset(&plies[0], 0, sizeof(Ply));
    ply_index = 0;
    curr_ply = &plies[0];
    curr_ply->black.info = &colour_info[BLACK];
    curr_ply->white.info = &colour_info[WHITE];
    curr_ply->black.attacks = &curr_ply->black_attacks;
    curr_ply->white.attacks = &curr_ply->white_attacks;
}

void takeBack() {
    ply_index--;
    curr_ply--;
}

uint64_t castlingKey(Bitboard castling) {
    using namespace castling_squares;
    uint64_t key = 0;
    if (castling & E1) {
        if (castling & H1) key ^= Z[Z_WHITE_KING_SIDE];
        if (castling & A1) key ^= Z[Z_WHITE_QUEEN_SIDE];
    }
    if (castling & E8) {
        if (castling & H8) key ^= Z[Z_BLACK_KING_SIDE];
        if (castling & A8) key ^= Z[Z_BLACK_QUEEN_SIDE];
    }
    return key;
}

uint64_t computeKey() {
    const Ply* ply = curr_ply;
    uint64_t key = 0;
    for (const Side* side : {&ply->black, &ply->white})
        for (int t = PAWN; t <= KING; t++)
            FOR_EACH_SQUARE(s, side->pieces[t]) key ^= Z[side->info->key_offset[t] + s];
    key ^= castlingKey(ply->castling);
    if (ply->en_passant) key ^= Z[Z_EN_PASSANT + fileOf(lsb(ply->en_passant))];
    if (whiteToMove(ply)) key ^= Z[Z_WHITE_TO_MOVE];
    return key;
}

namespace {
// front_span[c][s]: squares of s's file strictly ahead of s for colour c;
// passed_mask[c][s]: the same over the neighbouring files as well; adjacent_files[f].
struct PawnMasks {
    Bitboard front_span[2][64];
    Bitboard passed_mask[2][64];
    Bitboard adjacent_files[8];
};

constexpr PawnMasks makePawnMasks() {
    PawnMasks m{};
    for (int s = 0; s < 64; s++) {
        int f = s & 7, r = s >> 3;
        for (int rr = 0; rr < 8; rr++)
            for (int ff = f - 1; ff <= f + 1; ff++) {
                if (ff < 0 || ff > 7) continue;
                Bitboard b = Bitboard(1) << (ff + 8 * rr);
                if (rr > r) m.passed_mask[WHITE][s] |= b;
                if (rr < r) m.passed_mask[BLACK][s] |= b;
                if (ff == f && rr > r) m.front_span[WHITE][s] |= b;
                if (ff == f && rr < r) m.front_span[BLACK][s] |= b;
            }
    }
    for (int f = 0; f < 8; f++) {
        if (f > 0) m.adjacent_files[f] |= FILE_A << (f - 1);
        if (f < 7) m.adjacent_files[f] |= FILE_A << (f + 1);
    }
    return m;
}

constexpr PawnMasks pawn_masks = makePawnMasks();

void pawnStructureOf(Side* side, const Side* enemy) {
    int c = side->info->colour;
    Bitboard pawns = side->pieces[PAWN];
    side->not_passed = side->passed = side->doubled = side->isolated = 0;
    FOR_EACH_SQUARE(s, pawns) {
        if (pawn_masks.passed_mask[c][s] & enemy->pieces[PAWN]) side->not_passed |= bit(s);
        else side->passed |= bit(s);
        if (pawn_masks.front_span[c][s] & pawns) side->doubled |= bit(s);
        if (!(pawn_masks.adjacent_files[fileOf(s)] & pawns)) side->isolated |= bit(s);
    }
}
} // namespace

void computePawnStructure() {
    pawnStructureOf(&curr_ply->black, &curr_ply->white);
    pawnStructureOf(&curr_ply->white, &curr_ply->black);
}
