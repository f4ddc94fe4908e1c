// Quiescence search: stand pat, then the hash move and tactical moves (captures only from the second
// quiescence ply on), with delta pruning and an exchange test on the target square.
#include <algorithm>
#include "quiescence.h"
#include "../board/assertion.h"
#include "../board/attacks.h"
#include "../board/makemove.h"
#include "../board/movegen.h"
#include "prefetch.h"
#include "ordering.h"
#include "score.h"
#include "draw.h"
#include "record.h"
#include "time_check.h"
#include "../../sliders/sliders.h"
#include "../../transposition/tt.h"
#include "../../evaluation/evaluation.h"
#include "../../evaluation/endgame.h"

namespace {
// Delta pruning: a capture whose victim, with this margin on top, cannot lift the stand pat to
// alpha is not tried.
constexpr int DELTA_MARGIN = 200;
} // namespace

bool exchangeLoses(Move m) {
    const Ply* ply = curr_ply;
    int from = moveFrom(m), to = moveTo(m);
    Bitboard kings = ply->black.pieces[KING] | ply->white.pieces[KING];
    if (king_attacks[to] & kings) return false;
    if (ply->en_passant) return false;
    const Side* sides[2] = {&ply->black, &ply->white};
    Bitboard attackers[2];
    for (int c = BLACK; c <= WHITE; c++) {
        const Bitboard* p = sides[c]->pieces;
        attackers[c] = (p[PAWN] & pawn_attacks[c ^ 1][to]) | (p[KNIGHT] & knight_attacks[to]) |
                       ((p[BISHOP] | p[QUEEN]) & bishop_lines[to]) | ((p[ROOK] | p[QUEEN]) & rook_lines[to]);
    }
    Bitboard pawn_attackers = (ply->black.pieces[PAWN] | ply->white.pieces[PAWN]) & (attackers[0] | attackers[1]);
    if (pawn_attackers && (bit(to) & (RANK_1 | RANK_8))) return false;
    // A pinned attacker would make the count below wrong.
    if ((attackers[BLACK] & ply->black.attacks->pinned) || (attackers[WHITE] & ply->white.attacks->pinned))
        return false;

    int mover = ply->player->info->colour;
    Bitboard occ = ply->occupancy & ~bit(from) & ~bit(to);
    attackers[mover] &= ~bit(from);
    int balance = see_value[moveCaptured(m)];
    int on_square = see_value[movePiece(m)];
    int side = mover ^ 1;
    for (;;) {
        Bitboard candidates = attackers[side] & occ;
        if (!candidates) break;
        const Bitboard* p = sides[side]->pieces;
        Bitboard diagonal = getBishopMoves(occ, to), straight = getRookMoves(occ, to);
        int choice = -1, choice_value = 0;
        // A slider counts only once nothing stands between it and the square any more.
        const Bitboard blocked = (p[BISHOP] & ~diagonal) | (p[ROOK] & ~straight) | (p[QUEEN] & ~(diagonal | straight));
        FOR_EACH_SQUARE(square, candidates & ~blocked) {
            Bitboard b = bit(square);
            int attacker_type = PAWN;
            while (attacker_type < KING && !(p[attacker_type] & b)) attacker_type++;
            VIREO_ASSERT(p[attacker_type] & b);
            int value = see_value[attacker_type];
            if (choice < 0 || value < choice_value) choice = square, choice_value = value;
        }
        if (choice < 0) break;
        int next = side == mover ? balance + on_square : balance - on_square;
        if (balance < 0 && next < 0) return true;
        if (balance > 0 && next > 0) return false;
        occ &= ~bit(choice);
        on_square = choice_value;
        balance = next;
        side ^= 1;
    }
    return balance < 0;
}

int quiescence(int ply, int horizon, int alpha, int beta, uint32_t in_check) {
    search.nodes++;
    if (ply > MAX_DEPTH) return alpha;
    if (ply > search.seldepth) search.seldepth = ply;
    if (checkTime()) return 0;
    if (drawByRule()) return 0;

    // The attacks and the stand pat do not depend on the table, so they are computed before the
    // table is read: the bucket, fetched when the move to this node was made, arrives meanwhile.
    // Most of these nodes find nothing in the table, and few are cut off by what they find.
    computeAttacks();
    int stand_pat = in_check ? 0 : evaluate(curr_ply);
    uint64_t probe = probeTT(curr_ply);
    if (beta - alpha <= 1 && boundCuts(probeBound(probe), probeScore(probe), alpha, beta)) return probeScore(probe);
    int settled;
    if (probeEndgame(curr_ply, &settled)) return settled;

    MovePicker picker;
    int best;
    int delta_base = 0;
    bool prune = false;
    if (in_check) {
        best = -INFINITE;
        initPicker(&picker, ply, horizon, in_check, probeHashMove(probe));
    } else {
        if (stand_pat >= beta) return stand_pat;
        best = stand_pat;
        delta_base = stand_pat + DELTA_MARGIN;
        initPicker(&picker, ply, horizon, 0, probeHashMove(probe));
        prune = beta - alpha <= 1 && !curr_ply->pawn_ending && !isMateScore(alpha);
    }

    Move best_move = 0;
    int searched = 0;
    while (Move m = nextMove(&picker)) {
        int a = std::max(best, alpha);
        int captured = moveCaptured(m);
        if (prune && !(m & (GIVES_CHECK | PROMOTION_MASK)) && captured) {
            if (delta_base + see_value[captured] < alpha) continue;
            if (see_value[captured] < see_value[movePiece(m)] && exchangeLoses(m)) continue;
        }
        makeMoveAndPrefetch(m);
        uint32_t gives_check = m & GIVES_CHECK;
        int s;
        if (!searched) {
            s = -quiescence(ply + 1, horizon, -beta, -a, gives_check);
        } else {
            s = -quiescence(ply + 1, horizon, -a - 1, -a, gives_check);
            if (beta - alpha >= 2 && s > a) s = -quiescence(ply + 1, horizon, -beta, -a, gives_check);
        }
        takeBack();
        if (search.stop) return 0;
        searched++;
        if (s > best) {
            best = s;
            best_move = m;
            if (s >= beta) break;
        }
    }
    if (!searched) return in_check ? ply - MATE : best;
    storeTT(curr_ply->key, popcount(curr_ply->occupancy), 0, alpha, beta, best_move, best);
    return best;
}
