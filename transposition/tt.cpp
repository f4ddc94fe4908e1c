// The transposition table. Entries carry the number of pieces on the board: a probe must match it,
// and an entry with more pieces than the current root can never be reached again, so it is the
// first to be replaced. That is the table's only notion of age.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include "tt.h"

TranspositionTable transposition;

void createTT(int size_mb) {
    freeTT();
    if (size_mb < 1 || size_mb > 65536 || (size_mb & (size_mb - 1))) {
        printf("info debug Creation of Transposition Table : invalid size (%i MB, reset to default)\n", size_mb);
        size_mb = 128;
    }
    transposition.count = uint64_t(size_mb) * 65536;
    transposition.used = 0;
    transposition.mask = transposition.count - 4;
    transposition.entries = (TTEntry*)calloc(transposition.count, sizeof(TTEntry));
    if (!transposition.entries) {
        printf("info debug Creation of Transposition Table : failure (%i MB)\n", size_mb);
        if (size_mb == 1) {
            printf("info string Vireo will now halt...\n");
            exit(1);
        }
        createTT(size_mb / 2);
        return;
    }
    printf("info debug Creation of Transposition Table : success (%i MB)\n", size_mb);
}

void freeTT() {
    free(transposition.entries);
    transposition.entries = nullptr;
    transposition.count = transposition.used = transposition.mask = 0;
}

void clearTT() {
    if (transposition.entries) memset(transposition.entries, 0, transposition.count * sizeof(TTEntry));
    transposition.used = 0;
}

uint64_t hashfull() {
    return transposition.count ? transposition.used * 1000 / transposition.count : 0;
}

TTEntry* ttBucket(uint64_t key) {
    return transposition.entries ? transposition.entries + (key & transposition.mask) : nullptr;
}

void setRootPieces(int n) { transposition.root_pieces = n; }

uint64_t probeTT(Ply* ply) {
    const TTEntry* bucket = transposition.entries + (ply->key & transposition.mask);
    unsigned pieces = unsigned(popcount(ply->occupancy));
    for (int i = 0; i < 4; i++) {
        const TTEntry& e = bucket[i];
        if (e.key == ply->key && unsigned(e.info >> 2) == pieces)
            return uint64_t(e.info & 3) | (uint64_t(e.depth) << 8) | (uint64_t(uint16_t(e.score)) << 16) |
                   (uint64_t(e.move) << 32);
    }
    return 0;
}

Move probeMove(uint64_t key) {
    const TTEntry* bucket = transposition.entries + (key & transposition.mask);
    for (int i = 0; i < 4; i++)
        if (bucket[i].key == key) return bucket[i].move;
    return 0;
}

void storeTT(uint64_t key, uint32_t pieces, uint8_t depth, int alpha, int beta, Move move, int score) {
    int bound = score <= alpha ? BOUND_UPPER : score >= beta ? BOUND_LOWER : BOUND_EXACT;
    TTEntry* bucket = transposition.entries + (key & transposition.mask);
    TTEntry* slot = nullptr;
    for (int i = 0; i < 4 && !slot; i++)
        if (bucket[i].key == key) slot = &bucket[i];
    for (int i = 0; i < 4 && !slot; i++)
        if (bucket[i].info == 0) {
            slot = &bucket[i];
            transposition.used++;
        }
    // Positions with more pieces than the root are behind us for good.
    for (int i = 0; i < 4 && !slot; i++)
        if (int(bucket[i].info >> 2) > transposition.root_pieces) slot = &bucket[i];
    if (!slot) {
        slot = &bucket[0];
        for (int i = 1; i < 4; i++)
            if (bucket[i].depth < slot->depth) slot = &bucket[i];
    }
    slot->key = key;
    slot->info = uint8_t((pieces << 2) | unsigned(bound));
    slot->depth = depth;
    slot->score = int16_t(score);
    slot->move = move & 0x0fffffff;
}
