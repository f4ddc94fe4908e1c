// The draw by rule: bare kings, fifty moves, threefold repetition.
#include "draw.h"
#include "../board/board.h"

bool drawByRule() {
    const Ply* ply = curr_ply;
    if (popcount(ply->occupancy) == 2 || ply->halfmove > 99) return true;
    // Walk back while every move was reversible; each earlier record with the same key is a repetition.
    int count = 1;
    for (const Ply* later = ply; later > plies && (later - 1)->halfmove < later->halfmove; later--)
        if ((later - 1)->key == ply->key && ++count == 3) return true;
    return false;
}
