// Settles positions whose result is known without search. It runs at node entry, before the
// attack information exists, so king zones come straight from the king attack table.
#include "endgame.h"
#include "kpk.h"
#include "../engine/board/attacks.h"

int materialBalance(const Ply* ply) {
    const Side *p = ply->player, *o = ply->opponent;
    int balance = 0;
    for (int t = PAWN; t <= QUEEN; t++) balance += piece_value[t] * (popcount(p->pieces[t]) - popcount(o->pieces[t]));
    return balance;
}

TablebasePosition tablebasePosition(const Ply* ply) {
    const Side &w = ply->white, &b = ply->black;
    return {w.pieces[0],
            b.pieces[0],
            w.pieces[KING] | b.pieces[KING],
            w.pieces[QUEEN] | b.pieces[QUEEN],
            w.pieces[ROOK] | b.pieces[ROOK],
            w.pieces[BISHOP] | b.pieces[BISHOP],
            w.pieces[KNIGHT] | b.pieces[KNIGHT],
            w.pieces[PAWN] | b.pieces[PAWN],
            ply->en_passant ? unsigned(lsb(ply->en_passant)) : 0,
            whiteToMove(ply)};
}

namespace {

inline int kingDistance(int a, int b) {
    int df = fileOf(a) - fileOf(b), dr = rankOf(a) - rankOf(b);
    df = df < 0 ? -df : df;
    dr = dr < 0 ? -dr : dr;
    return df > dr ? df : dr;
}

// Rank of a pawn counted from its owner's back rank, 0..7.
inline int relativeRank(const Side* s, int square) {
    return s->info->colour == WHITE ? rankOf(square) : 7 - rankOf(square);
}

// King and one piece against a bare king.
int probeThreeMen(const Ply* ply, int* score) {
    const Side *p = ply->player, *o = ply->opponent;
    // The side to move can take the lone piece at once when it stands undefended next to its king.
    if (o->pieces[0] & king_attacks[p->king] & ~king_attacks[o->king]) {
        *score = 0;
        return 1;
    }
    if (ply->black.pieces[KNIGHT] | ply->white.pieces[KNIGHT] | ply->black.pieces[BISHOP] | ply->white.pieces[BISHOP]) {
        *score = 0;
        return 1;
    }
    int base = popcount(p->pieces[0]) == 2 ? KNOWN_WIN : -KNOWN_WIN;
    bool pawns = false;
    if (p->pieces[PAWN]) {
        int pawn = lsb(p->pieces[PAWN]), r = relativeRank(p, pawn);
        if (r < 1 || r > 6) return 0; // malformed position: no bitbase entry
        if (kpkDraw(p->king, pawn, o->king, p->info->colour == WHITE, true)) {
            *score = 0;
            return 1;
        }
        base += 10 * r - kingDistance(p->king, pawn);
        pawns = true;
    } else if (o->pieces[PAWN]) {
        int pawn = lsb(o->pieces[PAWN]), r = relativeRank(o, pawn);
        if (r < 1 || r > 6) return 0;
        if (kpkDraw(o->king, pawn, p->king, o->info->colour == WHITE, false)) {
            *score = 0;
            return 1;
        }
        base += -10 * r + kingDistance(o->king, pawn);
        pawns = true;
    }
    *score = base + materialBalance(ply);
    if (!pawns) *score += 10 * (king_centre[p->king] - king_centre[o->king]);
    return 1;
}

int probeTablebases(const Ply* ply, int* score) {
    if (ply->halfmove != 0 || canCastle(ply->castling) || ply->en_passant) return 0;
    int wdl = probeTablebaseResult(tablebasePosition(ply));
    if (wdl == WDL_DRAW) {
        *score = 0;
        return 1;
    }
    if (wdl != WDL_WIN && wdl != WDL_LOSS) return 0; // fifty-move results and failures
    int centre = king_centre[ply->player->king] - king_centre[ply->opponent->king];
    *score = (wdl == WDL_WIN ? TB_WIN_SCORE : -TB_WIN_SCORE) + materialBalance(ply) + centre;
    return 1;
}

} // namespace

int probeEndgame(Ply* ply, int* score) {
    int men = popcount(ply->occupancy);
    if (men > 3) {
        // Without tables the count is 0 and this is the only test made.
        if (unsigned(men) > tablebase_men) return 0;
        return probeTablebases(ply, score);
    }
    if (men == 2) {
        *score = 0;
        return 1;
    }
    return probeThreeMen(ply, score);
}
