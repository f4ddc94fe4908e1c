// The ply stack, the colour records, Zobrist keys and the pawn-structure sets.
#include <cstring>
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
// Set-wise fills: every square on or below (south) / above (north) a square of the set, by file.
inline Bitboard southFill(Bitboard b) {
    b |= b >> 8;
    b |= b >> 16;
    return b | b >> 32;
}
inline Bitboard northFill(Bitboard b) {
    b |= b << 8;
    b |= b << 16;
    return b | b << 32;
}
// The set together with its squares one file to either side.
inline Bitboard withNeighbourFiles(Bitboard b) { return b | ((b << 1) & ~FILE_A) | ((b >> 1) & ~FILE_H); }

// The four sets of one side, for all its pawns at once: a pawn is not passed when it stands behind
// (from its own side) an enemy pawn of its file or a neighbouring one, doubled when it stands
// behind a pawn of its own on its file, isolated when no pawn of its own shares a neighbouring file.
void pawnStructureOf(Side* side, const Side* enemy) {
    Bitboard pawns = side->pieces[PAWN];
    Bitboard enemy_fronts = withNeighbourFiles(enemy->pieces[PAWN]);
    Bitboard behind_enemies, behind_own;
    if (side->info->colour == WHITE) {
        behind_enemies = southFill(enemy_fronts >> 8);
        behind_own = southFill(pawns >> 8);
    } else {
        behind_enemies = northFill(enemy_fronts << 8);
        behind_own = northFill(pawns << 8);
    }
    Bitboard files = northFill(southFill(pawns));
    side->not_passed = pawns & behind_enemies;
    side->passed = pawns & ~behind_enemies;
    side->doubled = pawns & behind_own;
    side->isolated = pawns & ~(((files << 1) & ~FILE_A) | ((files >> 1) & ~FILE_H));
}
} // namespace

void computeRingCounts() {
    for (Side* side : {&curr_ply->black, &curr_ply->white})
        for (int t = KNIGHT; t <= KING; t++) {
            side->ring_counts[t - KNIGHT] = 0;
            FOR_EACH_SQUARE(s, side->pieces[t]) side->ring_counts[t - KNIGHT] += ring_unit[s];
        }
}

void computePawnStructure() {
    pawnStructureOf(&curr_ply->black, &curr_ply->white);
    pawnStructureOf(&curr_ply->white, &curr_ply->black);
}
