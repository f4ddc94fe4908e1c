// Fetching the table bucket of a position as soon as its key is known. The searches read the
// table only after the work of the node that does not depend on it (the attacks, the moves or the
// stand pat), so the bucket fetched when the move is made has arrived by the time it is read.
#pragma once
#include "../board/makemove.h"
#include "../../transposition/tt.h"

inline void makeMoveAndPrefetch(Move m) {
    makeMove(m);
    prefetchBucket(curr_ply->key);
}

inline void makeNullMoveAndPrefetch() {
    makeNullMove();
    prefetchBucket(curr_ply->key);
}
