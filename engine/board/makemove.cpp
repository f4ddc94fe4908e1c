// Copy-make: only the leading block of the record (both sides, key, castling rights) is copied into
// the record above; everything derived is recomputed there on demand, and taking a move back is
// a single step down the stack.
#include "makemove.h"
#include "assertion.h"
#include "../../platform/vector.h"

namespace {
// Copies the carried-over block and points the new record's sides at its own attack records.
inline Ply* pushRecord(Ply* old) {
    Ply* next = old + 1;
    copyBlocks<PLY_LEADING_BLOCK>(next, old);
    next->black.attacks = &next->black_attacks;
    next->white.attacks = &next->white_attacks;
    bool black_moved = old->player == &old->black;
    next->player = black_moved ? &next->white : &next->black;
    next->opponent = black_moved ? &next->black : &next->white;
    next->mirror = black_moved ? 0 : MIRROR_BLACK;
    return next;
}
} // namespace

void makeMove(Move m) {
    Ply* old = curr_ply;
    old->move = m;
    int to = moveTo(m), from = moveFrom(m), piece = movePiece(m);
    int captured = moveCaptured(m), promotion = movePromotion(m);
    assertReport(captured < 6);

    Ply* next = pushRecord(old);
    Side* mover = next->opponent;
    Side* enemy = next->player;
    const int* offset = mover->info->key_offset;
    uint64_t key = next->key ^ Z[offset[piece] + from] ^ Z[offset[piece] + to] ^ Z[Z_WHITE_TO_MOVE];

    next->en_passant = 0;
    if (old->en_passant) key ^= Z[Z_EN_PASSANT + fileOf(lsb(old->en_passant))];
    next->halfmove = old->halfmove + 1;

    int capture_square = to;
    if (piece == PAWN) {
        next->halfmove = 0;
        if ((from ^ to) == 16) {
            int skipped = (from + to) / 2;
            next->en_passant = bit(skipped);
            key ^= Z[Z_EN_PASSANT + fileOf(skipped)];
        }
        if (old->en_passant & bit(to)) capture_square = mover->info->colour == WHITE ? to - 8 : to + 8;
    }

    Bitboard from_to = bit(from) | bit(to);
    mover->pieces[0] ^= from_to;
    mover->pieces[piece] ^= from_to;
    if (piece != PAWN) mover->ring_counts[piece - KNIGHT] += ring_unit[to] - ring_unit[from];

    if (piece == KING) {
        mover->king = to;
        int rook_from = -1, rook_to = -1;
        if (to == from + 2) rook_from = from + 3, rook_to = from + 1;
        else if (to == from - 2) rook_from = from - 4, rook_to = from - 1;
        if (rook_from >= 0) {
            Bitboard rook_move = bit(rook_from) | bit(rook_to);
            mover->pieces[0] ^= rook_move;
            mover->pieces[ROOK] ^= rook_move;
            mover->ring_counts[ROOK - KNIGHT] += ring_unit[rook_to] - ring_unit[rook_from];
            key ^= Z[offset[ROOK] + rook_from] ^ Z[offset[ROOK] + rook_to];
        }
    }

    if (captured) {
        next->halfmove = 0;
        enemy->pieces[0] ^= bit(capture_square);
        enemy->pieces[captured] ^= bit(capture_square);
        if (captured != PAWN) enemy->ring_counts[captured - KNIGHT] -= ring_unit[capture_square];
        key ^= Z[enemy->info->key_offset[captured] + capture_square];
    }

    if (promotion) {
        mover->pieces[PAWN] ^= bit(to);
        mover->pieces[promotion] ^= bit(to);
        mover->ring_counts[promotion - KNIGHT] += ring_unit[to];
        key ^= Z[offset[PAWN] + to] ^ Z[offset[promotion] + to];
    }

    if (next->castling & from_to) {
        key ^= castlingKey(next->castling);
        next->castling &= ~from_to;
        key ^= castlingKey(next->castling);
    }
    next->key = key;

    next->pawn_ending = pawnEnding(next);
    next->occupancy = next->black.pieces[0] | next->white.pieces[0];

    ply_index++;
    curr_ply = next;
    if (piece == PAWN || captured == PAWN) computePawnStructure();
}

void makeNullMove() {
    Ply* old = curr_ply;
    old->move = 0;
    Ply* next = pushRecord(old);
    next->key ^= Z[Z_WHITE_TO_MOVE];
    if (old->en_passant) next->key ^= Z[Z_EN_PASSANT + fileOf(lsb(old->en_passant))];
    next->occupancy = old->occupancy;
    next->en_passant = 0;
    next->halfmove = old->halfmove + 1;
    next->pawn_ending = old->pawn_ending;
    ply_index++;
    curr_ply = next;
}
