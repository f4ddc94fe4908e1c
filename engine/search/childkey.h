// Fetching table buckets ahead of their probes. The key of the position a move leads to is computed
// without making the move, so that the bucket of a child can be fetched from memory while its
// siblings are searched; a move the search makes fetches the bucket of the new position at once.
#pragma once
#include "../board/board.h"
#include "../board/makemove.h"
#include "../../transposition/tt.h"

inline uint64_t childKey(const Ply* ply, Move m) {
    int to = moveTo(m), from = moveFrom(m), piece = movePiece(m);
    int captured = moveCaptured(m), promotion = movePromotion(m);
    const Side* mover = ply->player;
    const int* offset = mover->info->key_offset;
    uint64_t key = ply->key ^ Z[offset[piece] + from] ^ Z[offset[piece] + to] ^ Z[Z_WHITE_TO_MOVE];
    if (ply->en_passant) key ^= Z[Z_EN_PASSANT + fileOf(lsb(ply->en_passant))];
    int capture_square = to;
    if (piece == PAWN) {
        if ((from ^ to) == 16) key ^= Z[Z_EN_PASSANT + fileOf(from)];
        if (ply->en_passant & bit(to)) capture_square = mover->info->colour == WHITE ? to - 8 : to + 8;
    } else if (piece == KING && (to == from + 2 || to == from - 2)) {
        int rook_from = to == from + 2 ? from + 3 : from - 4, rook_to = to == from + 2 ? from + 1 : from - 1;
        key ^= Z[offset[ROOK] + rook_from] ^ Z[offset[ROOK] + rook_to];
    }
    if (captured) key ^= Z[ply->opponent->info->key_offset[captured] + capture_square];
    if (promotion) key ^= Z[offset[PAWN] + to] ^ Z[offset[promotion] + to];
    Bitboard from_to = bit(from) | bit(to);
    if (ply->castling & from_to) key ^= castlingKey(ply->castling) ^ castlingKey(ply->castling & ~from_to);
    return key;
}

// Fetches the table buckets of the children that moves[first..] lead to, while a sibling is searched.
inline void prefetchChildren(const Ply* ply, int first) {
    for (int i = first; i < ply->generated; i++) __builtin_prefetch(ttBucket(childKey(ply, ply->moves[i])));
}

inline void makeMoveAndPrefetch(Move m) {
    makeMove(m);
    prefetchBucket(curr_ply->key);
}

inline void makeNullMoveAndPrefetch() {
    makeNullMove();
    prefetchBucket(curr_ply->key);
}
