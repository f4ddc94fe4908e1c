// Root probe through Fathom: the tables pick the move by distance to zeroing and we find that move
// in our own list, so the flags of the word are ours.
#include <tbprobe.h>
#include "rootprobe.h"

bool probeRoot(Ply* ply, Move* move, int* score) {
    int n = popcount(ply->occupancy);
    if (int(TB_LARGEST) < n || TB_LARGEST < 3 || n < 3) return false;
    if (canCastle(ply->castling)) return false;

    const Side& w = ply->white;
    const Side& b = ply->black;
    unsigned result = tb_probe_root_impl(
        w.pieces[0], b.pieces[0], w.pieces[KING] | b.pieces[KING], w.pieces[QUEEN] | b.pieces[QUEEN],
        w.pieces[ROOK] | b.pieces[ROOK], w.pieces[BISHOP] | b.pieces[BISHOP], w.pieces[KNIGHT] | b.pieces[KNIGHT],
        w.pieces[PAWN] | b.pieces[PAWN], unsigned(ply->halfmove), ply->en_passant ? unsigned(lsb(ply->en_passant)) : 0,
        whiteToMove(ply), nullptr);
    if (result == TB_RESULT_FAILED || result == TB_RESULT_CHECKMATE || result == TB_RESULT_STALEMATE) return false;
    unsigned wdl = TB_GET_WDL(result);
    if (wdl > 4 || ply->generated == 0) return false;

    int dtz = int(TB_GET_DTZ(result));
    static const int base[5] = {-10000, -5000, 0, 5000, 10000};
    int value = wdl == 2 ? 0 : wdl < 2 ? dtz + base[wdl] : base[wdl] - dtz;

    int from = int(TB_GET_FROM(result)), to = int(TB_GET_TO(result)), promotes = int(TB_GET_PROMOTES(result));
    for (int i = 0; i < ply->generated; i++) {
        Move m = ply->moves[i];
        if (moveFrom(m) != from || moveTo(m) != to) continue;
        if (promotes && movePromotion(m) != 6 - promotes) continue;
        *move = m;
        *score = value;
        return true;
    }
    return false;
}
