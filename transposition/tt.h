// The transposition table: 16-byte entries in buckets of four, aged by piece count.
#pragma once
#include <cstdint>
#include "../engine/board/board.h"

#pragma pack(push, 1)
struct TTEntry {
    uint64_t key;
    uint8_t info; // entryInfo: the piece count above the bound; 0 marks an empty entry
    uint8_t depth;
    int16_t score;
    uint32_t move;
};
#pragma pack(pop)
static_assert(sizeof(TTEntry) == 16, "entries are packed to 16 bytes");

// The single process-wide table. `mask` is count - 4, so key & mask is the first entry of a bucket.
struct TranspositionTable {
    TTEntry* entries;
    uint64_t count;
    uint64_t used;
    uint64_t mask;
    int32_t root_pieces;
};
extern TranspositionTable transposition;

enum { BOUND_UPPER = 1, BOUND_LOWER = 2, BOUND_EXACT = 3 };

// An entry's info byte: the number of pieces on the board in the upper six bits, the bound in
// the lower two.
inline uint8_t entryInfo(unsigned pieces, int bound) { return uint8_t((pieces << 2) | unsigned(bound)); }
inline unsigned entryPieces(uint8_t info) { return info >> 2; }
inline int entryBound(uint8_t info) { return info & 3; }

// The word that probeTT returns: bound in bits 0-1, depth in 8-15, score in 16-31 (signed) and
// move in 32-63; 0 when nothing matched (bound 0, move 0).
inline uint64_t probeWord(const TTEntry& e) {
    return uint64_t(entryBound(e.info)) | (uint64_t(e.depth) << 8) | (uint64_t(uint16_t(e.score)) << 16) |
           (uint64_t(e.move) << 32);
}
inline int probeBound(uint64_t p) { return int(p & 3); }
inline int probeDepth(uint64_t p) { return int((p >> 8) & 0xff); }
inline int probeScore(uint64_t p) { return int16_t(p >> 16); }
inline Move probeHashMove(uint64_t p) { return Move(p >> 32); }

// Whether a stored score with this bound settles a null-window search of (alpha, beta).
inline bool boundCuts(int bound, int score, int alpha, int beta) {
    return bound == BOUND_EXACT || (bound == BOUND_LOWER && score >= beta) || (bound == BOUND_UPPER && score <= alpha);
}

void createTT(int size_mb);
void freeTT();
void clearTT();
uint64_t hashfull();
// Null while no table exists, so that moves can be made before the table is created.
inline TTEntry* ttBucket(uint64_t key) {
    return transposition.entries ? transposition.entries + (key & transposition.mask) : nullptr;
}
// Starts loading a key's bucket into the cache ahead of its probe.
inline void prefetchBucket(uint64_t key) {
    if (TTEntry* bucket = ttBucket(key)) __builtin_prefetch(bucket);
}
void setRootPieces(int n);
uint64_t probeTT(Ply* ply);
Move probeMove(uint64_t key);
void storeTT(uint64_t key, uint32_t pieces, uint8_t depth, int alpha, int beta, Move move, int score);
