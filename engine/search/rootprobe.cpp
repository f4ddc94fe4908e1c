// Root probe through Fathom: the tables pick the move by distance to zeroing and we find that move
// in our own list, so the flags of the word are ours.
#include "rootprobe.h"
#include "../../evaluation/endgame.h"

bool probeRoot(Ply* ply, Move* move, int* score) {
    int n = popcount(ply->occupancy);
    if (int(tablebase_men) < n || tablebase_men < 3 || n < 3) return false;
    if (canCastle(ply->castling)) return false;

    TablebaseRootMove root;
    if (!probeTablebaseRoot(tablebasePosition(ply), unsigned(ply->halfmove), &root)) return false;
    if (root.result > WDL_WIN || ply->generated == 0) return false;

    static const int base[5] = {-10000, -5000, 0, 5000, 10000};
    int value = root.result == WDL_DRAW  ? 0
                : root.result < WDL_DRAW ? root.dtz + base[root.result]
                                         : base[root.result] - root.dtz;

    for (int i = 0; i < ply->generated; i++) {
        Move m = ply->moves[i];
        if (moveFrom(m) != root.from || moveTo(m) != root.to) continue;
        if (root.promotes && movePromotion(m) != 6 - root.promotes) continue;
        *move = m;
        *score = value;
        return true;
    }
    return false;
}
