// Move ordering: the comparators that pick the next move to try, the tables they read,
// and the staged move picker of the quiescence search.
#pragma once
#include <cstdint>
#include <utility>
#include "../board/board.h"

extern int32_t history[2][8][64]; // colour to move, 7 - moving piece, to square
extern uint64_t root_nodes[4096]; // nodes spent below each root move, by from and to squares
extern uint8_t centre[64];
extern uint8_t centrality[4096]; // by from and to squares: central targets first, then outlying origins

void initCentrality();

inline uint32_t tacticalPart(Move m) { return m & ORDER_MASK; }
inline int32_t& historyEntry(int colour, Move m) { return history[colour][pieceCode(m)][moveTo(m)]; }

// Raised with every change of a colour's history entries, so that selection keys computed from
// them are known to be still current.
extern uint64_t history_version[2];

// Adds to a history entry; when the entry would pass +-2^30 the whole table is halved first.
void addHistory(int colour, Move m, int delta);

// The comparators answer whether c should replace the current choice b.
inline bool betterPlain(Move c, Move b, uint32_t mirror) { return int32_t(c ^ mirror) > int32_t(b ^ mirror); }

inline bool better(Move c, Move b, int colour, uint32_t mirror) {
    uint32_t tc = tacticalPart(c), tb = tacticalPart(b);
    if (tc != tb) return tc > tb;
    if (!tc) {
        int32_t hc = historyEntry(colour, c), hb = historyEntry(colour, b);
        if (hc != hb) return hc > hb;
    }
    int cc = centrality[moveSquares(c)], cb = centrality[moveSquares(b)];
    if (cc != cb) return cc > cb;
    return betterPlain(c, b, mirror);
}

inline bool betterAtRoot(Move c, Move b, int colour, uint32_t mirror) {
    if ((c ^ b) & HASH_MOVE) return c & HASH_MOVE;
    uint64_t nc = root_nodes[moveSquares(c)], nb = root_nodes[moveSquares(b)];
    if (nc != nb) return nc > nb;
    return better(c, b, colour, mirror);
}

enum { ORDER_PLAIN, ORDER_ROOT };

// The inner comparator as one number, larger first: tactical moves above quiet ones, then the
// tactical part or the history value (offset to unsigned), the centrality entry, and the low half
// of the mirrored word (its high half is the tactical part again).
inline uint64_t innerKey(Move m, const int32_t* colour_history, uint32_t mirror) {
    uint64_t tail = (uint64_t(centrality[moveSquares(m)]) << 16) | ((m ^ mirror) & 0xffff);
    uint32_t tactical = tacticalPart(m);
    if (tactical) return (uint64_t(1) << 63) | (uint64_t(tactical >> ORDER_SHIFT) << 22) | tail;
    uint32_t h = uint32_t(colour_history[pieceCode(m) * 64 + moveTo(m)]) ^ 0x80000000u;
    return (uint64_t(h) << 22) | tail;
}

// Swaps the best of moves[i..count-1] into place i; a later move takes over only when strictly better.
template <int ORDER>
inline void selectMove(Move* moves, int i, int count, int colour, uint32_t mirror) {
    int choice = i;
    for (int j = i + 1; j < count; j++) {
        bool takes_over = ORDER == ORDER_PLAIN ? betterPlain(moves[j], moves[choice], mirror)
                                               : betterAtRoot(moves[j], moves[choice], colour, mirror);
        if (takes_over) choice = j;
    }
    std::swap(moves[choice], moves[i]);
}

// The inner selection (the comparator `better`) with the keys of the list kept between two
// selections of one node: they are recomputed only when the history of the side to move has
// changed in between, which nodes two plies above the horizon never see.
struct SelectionKeys {
    uint64_t version = ~uint64_t(0);
    uint64_t keys[MAX_MOVES];
};

inline Move selectInner(Ply* ply, int i, SelectionKeys& cache) {
    // The hash move stands first and outranks every other move: no keys are needed for it, and a
    // node that it cuts off never computes them.
    if (i == 0 && (ply->moves[0] & HASH_MOVE)) return ply->moves[0];
    int colour = ply->player->info->colour;
    int count = ply->generated;
    Move* moves = ply->moves;
    uint64_t* keys = cache.keys;
    int choice = i;
    uint64_t best;
    if (cache.version != history_version[colour]) {
        // The keys are computed and scanned in one pass.
        cache.version = history_version[colour];
        const int32_t* colour_history = &history[colour][0][0];
        best = keys[i] = innerKey(moves[i], colour_history, ply->mirror);
        for (int j = i + 1; j < count; j++) {
            uint64_t key = keys[j] = innerKey(moves[j], colour_history, ply->mirror);
            if (key > best) best = key, choice = j;
        }
    } else {
        best = keys[i];
        for (int j = i + 1; j < count; j++)
            if (keys[j] > best) best = keys[j], choice = j;
    }
    std::swap(moves[choice], moves[i]);
    keys[choice] = keys[i];
    keys[i] = best;
    return moves[i];
}

// Orders the current ply's list at place i.
template <int ORDER>
inline Move selectMove(int i) {
    Ply* ply = curr_ply;
    selectMove<ORDER>(ply->moves, i, ply->generated, ply->player->info->colour, ply->mirror);
    return ply->moves[i];
}

// The quiescence search's picker: the hash move before any generation, then the list best first.
struct MovePicker {
    uint32_t stage; // 0 hash move pending, 1 list to generate, 2 picking from the list, 3 exhausted
    Move tt_move;
    uint32_t gen_mode;
    int32_t index;
};

// `horizon` as in the quiescence search: the first quiescence ply generates tactical moves, the
// plies beyond it captures only, a side in check every legal move.
void initPicker(MovePicker* picker, int ply, int horizon, uint32_t in_check, Move hash_move);
Move nextMove(MovePicker* picker);

// Whether a table move can be played in the current position: castling and en passant never pass.
bool hashMoveIsValid(Move m);
