// "debug": the diagram, the static score and the legal moves in the order the search tries them.
#include <cstdio>
#include <cstdlib>
#include "search.h"
#include "movegen.h"
#include "notation.h"
#include "ordering.h"
#include "record.h"
#include "../evaluation/evaluation.h"

namespace {
// Best first, as the inner comparator orders them; lines wrap once past 69 columns.
void printOrderedMoves(uint32_t flip) {
    Ply* ply = curr_ply;
    int column = 0;
    for (int i = 0; i < ply->generated; i++) {
        Move m = selectMove<ORDER_INNER>(i);
        column += printMove(m ^ flip);
        if (column > 69) {
            printf("\n");
            column = 0;
        } else {
            printf(" ");
            column++;
        }
    }
}
} // namespace

void debugCommand() {
    computeAttacks();
    printBoard();
    int s = 0;
    // Three men are the endgame knowledge's alone: the evaluation does not cover them.
    if (popcount(curr_ply->occupancy) == 3) {
        if (!probeEndgame(curr_ply, &s)) s = 0;
    } else {
        s = evaluate(curr_ply);
    }
    if (std::abs(s) < MATE_BOUND || std::abs(s) == INFINITE)
        printf("score cp %i ", s);
    else
        printf("score mate %i  [%i half-moves]", s > 0 ? (MATE + 1 - s) / 2 : -((s + MATE + 1) / 2), MATE - std::abs(s));
    printf("\n\n");
    generateMoves(GEN_ALL);
    printf("%i legal moves:\n", curr_ply->generated);
    printOrderedMoves(0);
    printf("\n\n%i mirrored legal moves:\n", curr_ply->generated);
    printOrderedMoves(MIRROR_BLACK);
    printf("\n\n");
}
