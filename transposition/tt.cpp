// The transposition table. Entries carry the number of pieces on the board: a probe must match it,
// and an entry with more pieces than the current root can never be reached again, so it is the
// first to be replaced. That is the table's only notion of age.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include "tt.h"
#include "../platform/memory.h"

TranspositionTable transposition;

namespace {
// Touches every page once at creation, where the interface waits for "readyok" anyway, rather
// than in a search, whose clock would pay for the system's zeroing of fresh pages: at 2 GB a first
// search that faults its pages in runs under 10,000 nodes a second. Whatever the size.
void touchPages(void* start, size_t bytes) {
    volatile char* p = (volatile char*)start;
    for (size_t i = 0; i < bytes; i += 4096) p[i] = 0;
}

// What calloc returned. The entries start at the next multiple of 64 bytes inside it, so that a
// bucket is exactly one cache line and one prefetch brings all of it.
void* allocation = nullptr;

// The searches probe and store only while a table exists.
inline TTEntry* bucketOf(uint64_t key) { return transposition.entries + (key & transposition.mask); }
} // namespace

void createTT(int size_mb) {
    freeTT();
    if (size_mb < 1 || size_mb > 65536 || (size_mb & (size_mb - 1))) {
        printf("info debug Creation of Transposition Table : invalid size (%i MB, reset to default)\n", size_mb);
        size_mb = 128;
    }
    uint64_t count = uint64_t(size_mb) * 65536;
    size_t bytes = (count + 4) * sizeof(TTEntry);
    allocation = bytes < availableMemory() ? calloc(count + 4, sizeof(TTEntry)) : nullptr;
    if (!allocation) {
        printf("info debug Creation of Transposition Table : failure (%i MB)\n", size_mb);
        if (size_mb == 1) {
            printf("info string Vireo will now halt...\n");
            exit(1);
        }
        createTT(size_mb / 2);
        return;
    }
    adviseLargePages(allocation, bytes);
    touchPages(allocation, bytes);
    transposition.entries = (TTEntry*)((uintptr_t(allocation) + 63) & ~uintptr_t(63));
    transposition.count = count;
    transposition.used = 0;
    transposition.mask = count - 4;
    printf("info debug Creation of Transposition Table : success (%i MB)\n", size_mb);
}

void freeTT() {
    free(allocation);
    allocation = nullptr;
    transposition.entries = nullptr;
    transposition.count = transposition.used = transposition.mask = 0;
}

void clearTT() {
    // Nothing was stored since the last clear (every first store raises `used`): the table is still zero.
    // Writing zeros keeps every page in place; handing the pages back to the system instead would
    // make the next search fault them in again.
    if (transposition.entries && transposition.used)
        memset(transposition.entries, 0, transposition.count * sizeof(TTEntry));
    transposition.used = 0;
}

uint64_t hashfull() { return transposition.count ? transposition.used * 1000 / transposition.count : 0; }

void setRootPieces(int n) { transposition.root_pieces = n; }

uint64_t probeTT(Ply* ply) {
    const TTEntry* bucket = bucketOf(ply->key);
    unsigned pieces = unsigned(popcount(ply->occupancy));
    for (int i = 0; i < 4; i++) {
        const TTEntry& e = bucket[i];
        if (e.key == ply->key && entryPieces(e.info) == pieces) return probeWord(e);
    }
    return 0;
}

Move probeMove(uint64_t key) {
    const TTEntry* bucket = bucketOf(key);
    for (int i = 0; i < 4; i++)
        if (bucket[i].key == key) return bucket[i].move;
    return 0;
}

void storeTT(uint64_t key, uint32_t pieces, uint8_t depth, int alpha, int beta, Move move, int score) {
    int bound = score <= alpha ? BOUND_UPPER : score >= beta ? BOUND_LOWER : BOUND_EXACT;
    TTEntry* bucket = bucketOf(key);
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
        if (int(entryPieces(bucket[i].info)) > transposition.root_pieces) slot = &bucket[i];
    if (!slot) {
        slot = &bucket[0];
        for (int i = 1; i < 4; i++)
            if (bucket[i].depth < slot->depth) slot = &bucket[i];
    }
    slot->key = key;
    slot->info = entryInfo(pieces, bound);
    slot->depth = depth;
    slot->score = int16_t(score);
    slot->move = unmarked(move);
}
