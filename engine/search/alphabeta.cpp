// Alpha-beta search: table cut-offs, static pruning, null move, ProbCut, internal iterative
// deepening, late-move reductions with re-search, and the root's bookkeeping and report.
#include <algorithm>
#include <cmath>
#include <cstring>
#include "alphabeta.h"
#include "../board/assertion.h"
#include "childkey.h"
#include "../board/makemove.h"
#include "../board/movegen.h"
#include "ordering.h"
#include "quiescence.h"
#include "record.h"
#include "../../transposition/tt.h"
#include "../../evaluation/evaluation.h"

uint8_t reductions[64][64];
const int futility_margin[3] = {0, 200, 500};

void initReductions() {
    memset(reductions, 0, sizeof reductions);
    for (int r = 1; r < 64; r++)
        for (int n = 1; n < 64; n++) reductions[r][n] = uint8_t(std::log(double(n)) * (std::log(double(r)) * 0.7692307692307692));
}

namespace {
constexpr uint32_t NOT_QUIET = ORDER_MASK & ~HASH_MOVE; // the tactical flags without the hash-move mark

bool anyTactical(const Ply* ply) {
    for (int i = 0; i < ply->generated; i++)
        if (ply->moves[i] & ORDER_MASK) return true;
    return false;
}

// A cut-off by a quiet move rewards it and penalises the quiet moves tried before it.
void updateHistory(const Ply* ply, int i, int r) {
    Move m = ply->moves[i];
    if (m & NOT_QUIET) return;
    int colour = ply->player->info->colour;
    addHistory(colour, m, r * r);
    for (int j = 0; j < i; j++)
        if (!(ply->moves[j] & NOT_QUIET)) addHistory(colour, ply->moves[j], -r);
}
} // namespace

int alphaBeta(int ply, int depth, int alpha, int beta, uint32_t in_check) {
    int r = depth - ply;
    if (r <= 0) return quiescence(ply, depth, alpha, beta, in_check);
    search.nodes++;
    if (ply > search.seldepth) search.seldepth = ply;
    if (checkTime()) return 0;
    if (drawByRule()) return 0;

    Ply* node = curr_ply;
    uint64_t probe = probeTT(node);
    int bound = probeBound(probe), tt_score = probeScore(probe);
    Move hash_move = probeHashMove(probe);
    if (beta - alpha <= 1 && probeDepth(probe) >= r && boundCuts(bound, tt_score, alpha, beta)) return tt_score;
    if (ply) {
        int settled;
        if (probeEndgame(node, &settled)) return settled;
    }

    computeAttacks();
    generateMoves(GEN_ALL);
    int count = node->generated;
    if (!count) return in_check ? ply - MATE : 0;

    // Static pruning only at null-width nodes, out of check, with a choice of moves and no mate in sight.
    bool mate_bound = node->pawn_ending || isMateScore(alpha) || isMateScore(beta);
    bool prune = false;
    int eval = 0;
    if (beta - alpha <= 1 && !in_check && count >= 2 && !mate_bound) {
        if (bound == BOUND_EXACT) eval = tt_score;
        else if (bound == BOUND_LOWER) eval = std::max(evaluate(node), tt_score);
        else if (bound == BOUND_UPPER) eval = std::min(evaluate(node), tt_score);
        else eval = evaluate(node);
        if (eval + 100 * r <= alpha && !anyTactical(node)) return eval + 100 * r;
        if (eval - 200 * r >= beta) return eval - 200 * r;
        prune = true;
    }

    if (prune && ply_index > 0 && (node - 1)->move != 0 && eval > beta && r >= 3) {
        makeNullMoveAndPrefetch();
        int s = -alphaBeta(ply + 1, depth - 3 - r / 4, -beta, -alpha, 0);
        takeBack();
        if (s >= beta) return eval;
    }

    if (prune && r >= 5) {
        int t = beta + 200;
        for (int i = 0; i < count; i++) {
            Move m = selectMove<ORDER_PLAIN>(i);
            if (!(m & (CAPTURE_MASK | PROMOTION_MASK))) break;
            makeMoveAndPrefetch(m);
            uint32_t gives_check = m & GIVES_CHECK;
            int s = -quiescence(ply + 1, ply + 1, -t, -t + 1, gives_check);
            if (s >= t) s = -alphaBeta(ply + 1, depth - 4, -t, -t + 1, gives_check);
            takeBack();
            if (s >= t) return s;
        }
    }

    if (beta - alpha > 1 && !hash_move && r > 2) {
        alphaBeta(ply, depth - 2, alpha, beta, in_check);
        hash_move = probeMove(node->key);
        node->moves[0] = unmarked(node->moves[0]);
    }

    if (hash_move)
        for (int i = 0; i < count; i++)
            if (node->moves[i] == hash_move) {
                node->moves[i] = node->moves[0];
                node->moves[0] = hash_move | HASH_MOVE;
                break;
            }

    int child_depth = count == 1 && depth < MAX_DEPTH ? depth + 1 : depth;
    int bestEval = -INFINITE;
    Move best_move = 0;
    int quiets = 0;
    uint64_t root_mark = search.nodes;
    SelectionKeys selection;
    for (int i = 0; i < count; i++) {
        int a = std::max(bestEval, alpha);
        Move m;
        if (ply == 0) {
            m = selectMove<ORDER_ROOT>(i);
            search.currmove = unmarked(m);
            search.currmovenumber = i + 1;
        } else {
            m = selectInner(node, i, selection);
        }
        // The first move did not cut off: fetch the buckets of the others while this one is searched.
        if (i == 1) prefetchChildren(node, 2);
        int R = 0;
        if (!(m & ORDER_MASK)) {
            quiets++;
            if (i > 0 && r <= 2 && prune) {
                if (eval + futility_margin[r] <= alpha) break;
                if (historyEntry(node->player->info->colour, m) < 0) break;
            }
        }
        if (prune && quiets >= 3) R = reductions[r][std::min(i, 63)];

        makeMoveAndPrefetch(m);
        uint32_t gives_check = m & GIVES_CHECK;
        int s;
        if (i == 0) {
            s = -alphaBeta(ply + 1, child_depth, -beta, -a, gives_check);
        } else {
            s = -alphaBeta(ply + 1, child_depth - R, -a - 1, -a, gives_check);
            if (!(beta - alpha <= 1 && R == 0) && s > a) s = -alphaBeta(ply + 1, child_depth, -beta, -a, gives_check);
        }
        takeBack();
        if (search.stop) return 0;

        if (s > bestEval) {
            bestEval = s;
            best_move = unmarked(m);
            if (ply == 0) {
                search.score = s;
                search.bestmove = best_move;
            }
            if (s >= beta) {
                updateHistory(node, i, r);
                break;
            }
        }
        if (ply == 0) {
            root_nodes[moveSquares(m)] = search.nodes - root_mark;
            root_mark = search.nodes;
        }
    }

    storeTT(node->key, popcount(node->occupancy), uint8_t(r), alpha, beta, best_move, bestEval);
    if (ply) return bestEval;

    if (best_move) {
        search.bestmove = best_move;
    } else {
        assertReport(bestEval < alpha);
        assertReport(search.bestmove);
    }
    search.score = bestEval;
    printRootInfo(bestEval, alpha, beta);
    return bestEval;
}
