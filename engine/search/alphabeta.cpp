// Alpha-beta search: table cut-offs, static pruning, null move, ProbCut, internal iterative
// deepening, late-move reductions with re-search, and the root's bookkeeping and report.
#include <algorithm>
#include <cmath>
#include <cstring>
#include "alphabeta.h"
#include "../board/assertion.h"
#include "prefetch.h"
#include "../board/makemove.h"
#include "../board/movegen.h"
#include "ordering.h"
#include "quiescence.h"
#include "score.h"
#include "draw.h"
#include "record.h"
#include "time_check.h"
#include "output.h"
#include "../../transposition/tt.h"
#include "../../evaluation/evaluation.h"
#include "../../evaluation/endgame.h"

uint8_t reductions[64][64];
const int futility_margin[3] = {0, 200, 500};

void initReductions() {
    memset(reductions, 0, sizeof reductions);
    for (int r = 1; r < 64; r++)
        for (int n = 1; n < 64; n++)
            reductions[r][n] = uint8_t(std::log(double(n)) * (std::log(double(r)) * REDUCTION_SCALE));
}

namespace {
// The margins and depth rules of the pruning, in centipawns and plies; "remaining" is the node's
// remaining depth.

// Razoring: with nothing tactical to try, a static score this far below alpha per remaining ply
// does not come back.
constexpr int RAZOR_MARGIN_PER_PLY = 100;
// Static null move: a static score this far above beta per remaining ply holds even if the side
// to move could pass.
constexpr int STATIC_NULL_MARGIN_PER_PLY = 200;
// Null move: tried from this remaining depth on. Its child searches NULL_MOVE_REDUCTION plies
// less than an ordinary child, and one more for every NULL_MOVE_DEPTH_DIVISOR plies remaining.
constexpr int NULL_MOVE_MIN_DEPTH = 3;
constexpr int NULL_MOVE_REDUCTION = 3;
constexpr int NULL_MOVE_DEPTH_DIVISOR = 4;
// ProbCut: tried from this remaining depth on. A capture or promotion whose quiescence score
// reaches beta + PROBCUT_MARGIN is verified by a search PROBCUT_REDUCTION plies shallower than an
// ordinary child; if the verification holds too, the node cuts off.
constexpr int PROBCUT_MIN_DEPTH = 5;
constexpr int PROBCUT_MARGIN = 200;
constexpr int PROBCUT_REDUCTION = 4;
// Internal iterative deepening: a PV node without a hash move and with at least this remaining
// depth first searches itself IID_REDUCTION plies shallower, for a move to try first.
constexpr int IID_MIN_DEPTH = 3;
constexpr int IID_REDUCTION = 2;
// The futility and history stops of the move loop act only this close to the horizon
// (futility_margin has one entry per remaining depth up to it).
constexpr int FUTILITY_MAX_DEPTH = 2;
// Late-move reductions start with this quiet move (counting from 1).
constexpr int LMR_FIRST_QUIET = 3;
// A node with one legal move searches its children this many plies deeper: the move is forced,
// so its line costs no more than the node itself.
constexpr int SINGLE_REPLY_EXTENSION = 1;

constexpr uint32_t NOT_QUIET = ORDER_MASK & ~HASH_MOVE; // the tactical flags without the hash-move mark

bool anyTactical(const Ply* ply) {
    for (int i = 0; i < ply->generated; i++)
        if (ply->moves[i] & ORDER_MASK) return true;
    return false;
}

// A cut-off by a quiet move rewards it and penalises the quiet moves tried before it.
void updateHistory(const Ply* ply, int i, int remaining) {
    Move m = ply->moves[i];
    if (m & NOT_QUIET) return;
    int colour = ply->player->info->colour;
    addHistory(colour, m, remaining * remaining);
    for (int j = 0; j < i; j++)
        if (!(ply->moves[j] & NOT_QUIET)) addHistory(colour, ply->moves[j], -remaining);
}

// The static score for the pruning decisions: a table score bounds the evaluation, an exact one
// replaces it. The entry's depth does not matter here.
int staticScore(Ply* node, int bound, int tt_score) {
    if (bound == BOUND_EXACT) return tt_score;
    if (bound == BOUND_LOWER) return std::max(evaluate(node), tt_score);
    if (bound == BOUND_UPPER) return std::min(evaluate(node), tt_score);
    return evaluate(node);
}

// Whether passing still keeps the score at beta, searched at the null move's reduced depth.
bool nullMoveHolds(int ply, int horizon, int remaining, int alpha, int beta) {
    makeNullMoveAndPrefetch();
    int child_horizon = horizon - NULL_MOVE_REDUCTION - remaining / NULL_MOVE_DEPTH_DIVISOR;
    int s = -alphaBeta(ply + 1, child_horizon, -beta, -alpha, 0);
    takeBack();
    return s >= beta;
}

// ProbCut over the captures and promotions, best first: the verified score of the first that
// beats beta by the margin, or nothing.
bool probCut(int ply, int horizon, int beta, int count, int* score) {
    int t = beta + PROBCUT_MARGIN;
    for (int i = 0; i < count; i++) {
        Move m = selectMove<ORDER_PLAIN>(i);
        if (!(m & (CAPTURE_MASK | PROMOTION_MASK))) break;
        makeMoveAndPrefetch(m);
        uint32_t gives_check = m & GIVES_CHECK;
        // The child is a first quiescence ply.
        int s = -quiescence(ply + 1, ply + 1, -t, -t + 1, gives_check);
        if (s >= t) s = -alphaBeta(ply + 1, horizon - PROBCUT_REDUCTION, -t, -t + 1, gives_check);
        takeBack();
        if (s >= t) {
            *score = s;
            return true;
        }
    }
    return false;
}

// Swaps the hash move to the front of the list and marks it, which makes it first for both the
// root and the inner comparator.
void putHashMoveFirst(Ply* node, Move hash_move) {
    for (int i = 0; i < node->generated; i++)
        if (node->moves[i] == hash_move) {
            node->moves[i] = node->moves[0];
            node->moves[0] = hash_move | HASH_MOVE;
            return;
        }
}

// The root's bookkeeping: the move on display in the progress line, the best move so far (which
// a stopped search plays), the nodes each root move took (which order the next iteration), and
// the report of a completed root search.
Move selectRootMove(int i) {
    Move m = selectMove<ORDER_ROOT>(i);
    search.currmove = unmarked(m);
    search.currmovenumber = i + 1;
    return m;
}

void recordRootBest(Move best_move, int score) {
    // A new best move in the iteration is a reason to think longer about it.
    if (VIREO_EXTEND == EXTEND_WHEN_UNSTABLE && search.bestmove && best_move != search.bestmove)
        search.extension_allowed = 1;
    search.score = score;
    search.bestmove = best_move;
}

void recordRootNodes(Move m, uint64_t* mark) {
    root_nodes[moveSquares(m)] = search.nodes - *mark;
    *mark = search.nodes;
}

int finishRoot(int bestEval, Move best_move, int alpha, int beta) {
    if (best_move) {
        search.bestmove = best_move;
    } else {
        // Every move failed low: the best move of an earlier iteration stays.
        assertReport(bestEval < alpha);
        assertReport(search.bestmove);
    }
    search.score = bestEval;
    printRootInfo(bestEval, alpha, beta);
    return bestEval;
}

// What the move loop knows of its node.
struct Node {
    Ply* position;
    int ply, remaining, alpha, beta;
    bool root, null_window;
    bool prune; // the static pruning gate of step 8 was passed; eval holds the static score
    int eval;
};

// Step 14, the move loop: best first, the first move with the full window, the others with a
// null window (reduced for late quiet moves) and searched again when they beat it. Returns the
// best score, 0 once the search has been stopped. Inlined into alphaBeta, whose every node runs it.
[[gnu::always_inline]] inline int searchMoves(Node n, int child_horizon, Move* best_move) {
    Ply* node = n.position;
    int count = node->generated;
    int bestEval = -INFINITE;
    int quiets = 0;
    uint64_t root_mark = search.nodes;
    SelectionKeys selection;
    for (int i = 0; i < count; i++) {
        int a = std::max(bestEval, n.alpha);
        Move m = n.root ? selectRootMove(i) : selectInner(node, i, selection);

        // 14.1 Futility and history stops: near the horizon, a quiet move after the first ends
        // the loop when the static score is too far below alpha or its history is bad (the
        // moves after it are ordered no better).
        if (!(m & ORDER_MASK)) {
            quiets++;
            if (i > 0 && n.remaining <= FUTILITY_MAX_DEPTH && n.prune) {
                if (n.eval + futility_margin[n.remaining] <= n.alpha) break;
                if (historyEntry(node->player->info->colour, m) < 0) break;
            }
        }
        // 14.2 Late-move reduction.
        int reduction = n.prune && quiets >= LMR_FIRST_QUIET ? reductions[n.remaining][std::min(i, 63)] : 0;

        // 14.3 Search the move.
        makeMoveAndPrefetch(m);
        uint32_t gives_check = m & GIVES_CHECK;
        int s;
        if (i == 0) {
            s = -alphaBeta(n.ply + 1, child_horizon, -n.beta, -a, gives_check);
        } else {
            s = -alphaBeta(n.ply + 1, child_horizon - reduction, -a - 1, -a, gives_check);
            // A null-window node gains nothing from searching again with the same window.
            if (!(n.null_window && reduction == 0) && s > a)
                s = -alphaBeta(n.ply + 1, child_horizon, -n.beta, -a, gives_check);
        }
        takeBack();
        if (search.stop) return 0;

        // 14.4 A new best move; at beta the history learns from the cut-off and the loop ends.
        if (s > bestEval) {
            bestEval = s;
            *best_move = unmarked(m);
            if (n.root) recordRootBest(*best_move, s);
            if (s >= n.beta) {
                updateHistory(node, i, n.remaining);
                break;
            }
        }
        if (n.root) recordRootNodes(m, &root_mark);
    }
    return bestEval;
}
} // namespace

int alphaBeta(int ply, int horizon, int alpha, int beta, uint32_t in_check) {
    // 1. At the horizon the quiescence search takes over.
    int remaining = horizon - ply;
    if (remaining <= 0) return quiescence(ply, horizon, alpha, beta, in_check);

    // 2. Count the node; 3. stop when the clock or the input says so; 4. draws by rule.
    search.nodes++;
    if (ply > search.seldepth) search.seldepth = ply;
    if (checkTime()) return 0;
    if (drawByRule()) return 0;

    // 5. The transposition table settles a null-window node when its entry is deep enough. The
    // moves do not depend on the table, so they are generated before it is read: the bucket,
    // fetched when the move to this node was made, arrives meanwhile.
    const bool root = ply == 0;
    const bool null_window = beta - alpha <= 1;
    Ply* node = curr_ply;
    computeAttacks();
    generateMoves(GEN_ALL);
    uint64_t probe = probeTT(node);
    int bound = probeBound(probe), tt_score = probeScore(probe);
    Move hash_move = probeHashMove(probe);
    if (null_window && probeDepth(probe) >= remaining && boundCuts(bound, tt_score, alpha, beta)) return tt_score;

    // 6. Endgame knowledge, below the root (the root must find a move).
    if (!root) {
        int settled;
        if (probeEndgame(node, &settled)) return settled;
    }

    // 7. No legal move: mate or stalemate.
    int count = node->generated;
    if (!count) return in_check ? ply - MATE : 0;

    // 8. Static pruning, only at null-window nodes out of check, with a choice of moves and no
    // mate in sight: razoring and the static null move on the static score. Where they do not
    // cut, the node may still prune (steps 9, 10 and 14).
    bool mate_bound = node->pawn_ending || isMateScore(alpha) || isMateScore(beta);
    bool prune = false;
    int eval = 0;
    if (null_window && !in_check && count >= 2 && !mate_bound) {
        eval = staticScore(node, bound, tt_score);
        int razor = eval + RAZOR_MARGIN_PER_PLY * remaining;
        if (razor <= alpha && !anyTactical(node)) return razor;
        int static_null = eval - STATIC_NULL_MARGIN_PER_PLY * remaining;
        if (static_null >= beta) return static_null;
        prune = true;
    }

    // 9. Null move, unless this node was reached by one (or by no move at all). On success the
    // node returns its static score.
    if (prune && ply_index > 0 && (node - 1)->move != 0 && eval > beta && remaining >= NULL_MOVE_MIN_DEPTH &&
        nullMoveHolds(ply, horizon, remaining, alpha, beta))
        return eval;

    // 10. ProbCut.
    if (prune && remaining >= PROBCUT_MIN_DEPTH) {
        int s;
        if (probCut(ply, horizon, beta, count, &s)) return s;
    }

    // 11. Internal iterative deepening at PV nodes without a hash move. The shallower search
    // regenerates and reorders this ply's list and marks its own hash move, which it leaves at
    // place 0; the mark comes off so that only the move the table now holds carries it.
    if (!null_window && !hash_move && remaining >= IID_MIN_DEPTH) {
        alphaBeta(ply, horizon - IID_REDUCTION, alpha, beta, in_check);
        hash_move = probeMove(node->key);
        node->moves[0] = unmarked(node->moves[0]);
    }

    // 12. The hash move goes first.
    if (hash_move) putHashMoveFirst(node, hash_move);

    // 13. A single legal reply extends the children (the horizon never passes MAX_DEPTH).
    int child_horizon = count == 1 && horizon < MAX_DEPTH ? horizon + SINGLE_REPLY_EXTENSION : horizon;

    // 14. The move loop.
    Move best_move = 0;
    int bestEval =
        searchMoves(Node{node, ply, remaining, alpha, beta, root, null_window, prune, eval}, child_horizon, &best_move);
    if (search.stop) return 0;

    // 15. Store the result with the bounds the node was called with.
    storeTT(node->key, popcount(node->occupancy), uint8_t(remaining), alpha, beta, best_move, bestEval);

    // 16. At the root: the final best move and score, and the report.
    return root ? finishRoot(bestEval, best_move, alpha, beta) : bestEval;
}
