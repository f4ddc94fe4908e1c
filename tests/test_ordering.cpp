// Move ordering: the comparators' keys in order, the tables, history halving, and the picker.
#include <gtest/gtest.h>
#include <algorithm>
#include <cstring>
#include "tests/search_fixture.h"

namespace {
Move quiet(int from, int to, int piece) { return makeMoveWord(from, to, piece); }
enum { A1 = 0, C1 = 2, E2 = 12, E3 = 20, E4 = 28, D4 = 27, A3 = 16, A6 = 40, A8 = 56, C8 = 58, E5 = 36 };

using Ordering = SearchTest;
} // namespace

// Published values of the tables: how central a square is (its steps from the nearest corner along
// files and ranks), and a move's entry, centre of the target times 8 plus 7 minus centre of the
// origin, indexed by the move word's squares (from * 64 + to).
TEST_F(Ordering, CentralityTable) {
    EXPECT_EQ(centre[A1], 0);
    EXPECT_EQ(centre[63], 0);
    EXPECT_EQ(centre[D4], 6);
    EXPECT_EQ(centre[E5], 6);
    EXPECT_EQ(centre[E2], 4);
    EXPECT_EQ(centre[A3], 2);
    EXPECT_EQ(centre[C1], 2);
    EXPECT_EQ(moveSquares(quiet(E2, E4, PAWN)), E2 * 64 + E4);
    EXPECT_EQ(centrality[moveSquares(quiet(E2, E4, PAWN))], 6 * 8 + 7 - 4);
    EXPECT_EQ(centrality[moveSquares(quiet(A1, A3, ROOK))], 2 * 8 + 7 - 0);
    EXPECT_EQ(centrality[moveSquares(quiet(D4, A3, QUEEN))], 2 * 8 + 7 - 6);
    // The two corners of the key: the best move goes from a corner to the centre, the worst from
    // the centre to a corner.
    EXPECT_EQ(*std::max_element(centrality, centrality + 4096), centrality[A1 * 64 + D4]);
    EXPECT_EQ(*std::min_element(centrality, centrality + 4096), centrality[E5 * 64 + A8]);
}

TEST_F(Ordering, InnerComparatorKeys) {
    // Quiet moves, equal history: the more central target first, then the less central origin.
    EXPECT_TRUE(better(quiet(E2, E4, PAWN), quiet(E2, E3, PAWN), WHITE, 0));
    EXPECT_FALSE(better(quiet(E2, E3, PAWN), quiet(E2, E4, PAWN), WHITE, 0));
    EXPECT_TRUE(better(quiet(A1, A3, ROOK), quiet(D4, A3, QUEEN), WHITE, 0));

    // History outranks centrality for quiet moves.
    historyEntry(WHITE, quiet(E2, E3, PAWN)) = 5;
    EXPECT_TRUE(better(quiet(E2, E3, PAWN), quiet(E2, E4, PAWN), WHITE, 0));
    EXPECT_FALSE(better(quiet(E2, E3, PAWN), quiet(E2, E4, PAWN), BLACK, 0));
    memset(history, 0, sizeof history);

    // Two captures of one rook from equally central squares: the mirrored word puts the pawn first.
    Move pawn_takes = makeMoveWord(D4, E5, PAWN, ROOK), queen_takes = makeMoveWord(E4, E5, QUEEN, ROOK);
    EXPECT_TRUE(better(pawn_takes, queen_takes, WHITE, 0));
    EXPECT_FALSE(better(queen_takes, pawn_takes, WHITE, 0));
    historyEntry(WHITE, queen_takes) = 1000; // history does not count between tactical moves
    EXPECT_TRUE(better(pawn_takes, queen_takes, WHITE, 0));
    memset(history, 0, sizeof history);

    // A quiet check beats every quiet move and loses to every capture.
    Move check = quiet(A1, A3, ROOK) | CHECK;
    historyEntry(WHITE, quiet(E2, E4, PAWN)) = 1 << 20;
    EXPECT_TRUE(better(check, quiet(E2, E4, PAWN), WHITE, 0));
    EXPECT_TRUE(better(makeMoveWord(A1, A3, ROOK, PAWN), check, WHITE, 0));
    memset(history, 0, sizeof history);

    // Equal on every key: the current choice stays.
    EXPECT_FALSE(better(quiet(E2, E4, PAWN), quiet(E2, E4, PAWN), WHITE, 0));

    // Ties on centrality break on the word with ranks counted from the mover's side:
    // White prefers a1a3 to a1c1, and Black likewise a8a6 to a8c8.
    EXPECT_TRUE(better(quiet(A1, A3, ROOK), quiet(A1, C1, ROOK), WHITE, 0));
    EXPECT_TRUE(better(quiet(A8, A6, ROOK), quiet(A8, C8, ROOK), BLACK, MIRROR_BLACK));
    EXPECT_FALSE(better(quiet(A8, C8, ROOK), quiet(A8, A6, ROOK), BLACK, MIRROR_BLACK));
}

TEST_F(Ordering, RootComparatorAndSelection) {
    Move e4 = quiet(E2, E4, PAWN), e3 = quiet(E2, E3, PAWN), capture = makeMoveWord(A1, A3, ROOK, QUEEN);
    root_nodes[moveSquares(e3)] = 500;
    root_nodes[moveSquares(capture)] = 10;
    // Node counts outrank the tactical part at the root; the hash move outranks both.
    EXPECT_TRUE(betterAtRoot(e3, capture, WHITE, 0));
    EXPECT_TRUE(betterAtRoot(e4 | HASH_MOVE, e3, WHITE, 0));
    EXPECT_FALSE(betterAtRoot(e3, e4 | HASH_MOVE, WHITE, 0));
    Move list[4] = {capture, e4 | HASH_MOVE, e3, e4};
    selectMove<ORDER_ROOT>(list, 0, 4, WHITE, 0);
    EXPECT_EQ(list[0], e4 | HASH_MOVE);
    selectMove<ORDER_ROOT>(list, 1, 4, WHITE, 0);
    EXPECT_EQ(list[1], e3);
    memset(root_nodes, 0, sizeof root_nodes);

    // The plain comparator: the mirrored word alone, earlier kept on ties.
    Move plain[3] = {e3, capture, capture};
    selectMove<ORDER_PLAIN>(plain, 0, 3, WHITE, 0);
    EXPECT_EQ(plain[0], capture);
    EXPECT_EQ(plain[1], e3); // swapped with the first of the two equal captures
    EXPECT_EQ(plain[2], capture);
}

TEST_F(Ordering, HistoryIsHalvedBeforeItOverflows) {
    Move m = quiet(E2, E4, PAWN), other = quiet(A1, A3, ROOK);
    historyEntry(WHITE, m) = (1 << 30) - 10;
    historyEntry(BLACK, other) = -101;
    addHistory(WHITE, m, 10); // reaches 2^30 exactly: no halving
    EXPECT_EQ(historyEntry(WHITE, m), 1 << 30);
    addHistory(WHITE, m, 4);
    EXPECT_EQ(historyEntry(WHITE, m), (1 << 29) + 4);
    EXPECT_EQ(historyEntry(BLACK, other), -50);
    historyEntry(WHITE, m) = -(1 << 30);
    addHistory(WHITE, m, -1);
    EXPECT_EQ(historyEntry(WHITE, m), -(1 << 29) - 1);
}

TEST_F(Ordering, PickerValidatesTheHashMove) {
    setUpSearch("r3k2r/8/8/3pP3/8/8/8/R3K2R w KQkq d6 0 1");
    computeAttacks();
    EXPECT_TRUE(findMove("e1g1"));
    EXPECT_TRUE(findMove("e5d6"));
    EXPECT_FALSE(hashMoveIsValid(findMove("e1g1"))); // castling
    EXPECT_FALSE(hashMoveIsValid(findMove("e1c1")));
    EXPECT_FALSE(hashMoveIsValid(findMove("e5d6"))); // en passant
    EXPECT_TRUE(hashMoveIsValid(findMove("a1a8")));
    EXPECT_TRUE(hashMoveIsValid(findMove("e5e6")));
    EXPECT_TRUE(hashMoveIsValid(findMove("e1f2")));
    // Words that do not fit this position.
    EXPECT_FALSE(hashMoveIsValid(makeMoveWord(4, 20, KING)));         // no king step
    EXPECT_FALSE(hashMoveIsValid(makeMoveWord(0, 56, ROOK)));         // captures nothing on a8
    EXPECT_FALSE(hashMoveIsValid(makeMoveWord(0, 56, ROOK, KNIGHT))); // wrong victim
    EXPECT_FALSE(hashMoveIsValid(makeMoveWord(1, 18, KNIGHT)));       // no knight on b1
    EXPECT_FALSE(hashMoveIsValid(makeMoveWord(36, 52, PAWN)));        // no double step from e5

    // A pinned piece may not leave its line.
    setUpSearch("4k3/4r3/8/8/8/8/4B3/4K3 w - - 0 1");
    computeAttacks();
    EXPECT_FALSE(hashMoveIsValid(makeMoveWord(12, 21, BISHOP)));

    // The picker delivers a valid hash move first and never again from the list.
    setUpSearch("4k3/8/8/3p4/4P3/8/8/4K3 w - - 0 1");
    Move capture = findMove("e4d5");
    Move push = findMove("e4e5");
    computeAttacks();
    MovePicker picker;
    initPicker(&picker, 3, 3, 0, push);
    EXPECT_EQ(picker.gen_mode, uint32_t(GEN_TACTICAL));
    EXPECT_EQ(nextMove(&picker), push);
    EXPECT_EQ(nextMove(&picker), capture);
    for (Move m; (m = nextMove(&picker));) EXPECT_NE(m, push);
    EXPECT_EQ(picker.stage, 3u);
    // Deeper plies take captures only; in check, every legal move.
    initPicker(&picker, 4, 3, 0, 0);
    EXPECT_EQ(picker.gen_mode, uint32_t(GEN_CAPTURES));
    EXPECT_EQ(picker.stage, 1u);
    initPicker(&picker, 4, 3, 1, 0);
    EXPECT_EQ(picker.gen_mode, uint32_t(GEN_ALL));
}

TEST_F(Ordering, SelectionKeyAgreesWithTheComparator) {
    uint64_t seed = 12345;
    auto next = [&seed]() {
        seed ^= seed << 13, seed ^= seed >> 7, seed ^= seed << 17;
        return seed;
    };
    auto randomMove = [&]() {
        Move m = makeMoveWord(int(next() % 64), int(next() % 64), int(1 + next() % 6));
        if (next() % 2) m |= Move(next()) & (ADVANCED_PAWN | ESCAPE | GIVES_CHECK | CAPTURE_MASK | PROMOTION_MASK);
        return m;
    };
    for (int n = 0; n < 20000; n++) {
        int colour = int(next() % 2);
        uint32_t mirror = colour == BLACK ? MIRROR_BLACK : 0;
        Move c = randomMove(), b = next() % 4 ? randomMove() : c;
        historyEntry(colour, c) = int32_t(next() % 3) - 1 + (next() % 2 ? int32_t(next()) : 0);
        if (next() % 3 == 0) historyEntry(colour, b) = historyEntry(colour, c);
        const int32_t* h = &history[colour][0][0];
        EXPECT_EQ(better(c, b, colour, mirror), innerKey(c, h, mirror) > innerKey(b, h, mirror))
            << std::hex << c << " " << b << " " << colour;
    }
}
