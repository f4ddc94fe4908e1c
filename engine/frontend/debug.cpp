// "debug": the diagram, the static score and the legal moves in the order the search tries them.
#include <cstdio>
#include <cstdlib>
#include "frontend.h"
#include "../board/movegen.h"
#include "../board/notation.h"
#include "../search/ordering.h"
#include "../search/score.h"
#include "../../evaluation/evaluation.h"
#include "../../evaluation/endgame.h"

namespace {
// Best first, as the inner comparator orders them; lines wrap once past 69 columns.
void printOrderedMoves(uint32_t flip) {
    Ply* ply = curr_ply;
    SelectionKeys keys;
    int column = 0;
    for (int i = 0; i < ply->generated; i++) {
        Move m = selectInner(ply, i, keys);
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
    if (isMateScore(s)) printf("%s [%i half-moves]", scoreText(s).c_str(), MATE - std::abs(s));
    else printf("%s", scoreText(s).c_str());
    printf("\n\n");
    generateMoves(GEN_ALL);
    printf("%i legal moves:\n", curr_ply->generated);
    printOrderedMoves(0);
    printf("\n\n%i mirrored legal moves:\n", curr_ply->generated);
    printOrderedMoves(MIRROR_BLACK);
    printf("\n\n");
}
