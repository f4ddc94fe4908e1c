// FEN reading, move texts and the board diagram, byte for byte.
#include <gtest/gtest.h>
#include <string>
#include "tests/position_fixture.h"
#include "engine/board/movegen.h"

namespace {
std::string verbose(Move m) {
    int n = 0;
    std::string text = printedBy([&] { n = printMove(m); });
    EXPECT_EQ(size_t(n), text.size());
    return text;
}
} // namespace

TEST(Notation, FenFields) {
    setUp("rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq -");
    EXPECT_EQ(curr_ply->halfmove, 0);
    EXPECT_EQ(curr_ply->key, 0x463b96181691fc9cULL);
    setUp("rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR W KQkq - 0 1");
    EXPECT_FALSE(whiteToMove(curr_ply));
    setUp("rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 010 1");
    EXPECT_EQ(curr_ply->halfmove, 8);
    setUp("rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0x10 1 extra words");
    EXPECT_EQ(curr_ply->halfmove, 16);
    std::string reason;
    EXPECT_FALSE(parseFen("rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq e4 0 1", &reason));
    EXPECT_EQ(reason, "bad en passant square 'e4'");
    EXPECT_FALSE(parseFen("rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq", &reason));
    EXPECT_EQ(reason, "a FEN needs 4 or 6 fields");
}

TEST(Notation, MoveTexts) {
    setUp("k7/4P3/8/8/8/8/8/4K3 w - - 0 1", "e7e8q");
    EXPECT_EQ(curr_ply->white.pieces[QUEEN], bit(60));
    EXPECT_EQ(curr_ply->white.pieces[PAWN], 0u);
    setUp("k7/4P3/8/8/8/8/8/4K3 w - - 0 1", "e7e8n");
    EXPECT_NE(curr_ply->white.pieces[KNIGHT], 0u);
    std::string reason;
    EXPECT_FALSE(playMoves("e7e8Q", &reason));
    EXPECT_FALSE(playMoves("e7e8k", &reason));
    EXPECT_EQ(reason, "illegal move 'e7e8k'");
    // e1g1 castles with the king on e1 and is a plain rook move with a rook there.
    setUp("4k3/8/8/8/8/8/8/4K2R w K - 0 1", "e1g1");
    EXPECT_EQ(curr_ply->white.pieces[ROOK], bit(5));
    setUp("k7/8/8/8/8/8/8/K3R3 w - - 0 1", "e1g1");
    EXPECT_EQ(curr_ply->white.pieces[ROOK], bit(6));

    EXPECT_EQ(verbose(0), "null");
    EXPECT_EQ(verbose(makeMoveWord(12, 28, PAWN)), "e2e4");
    EXPECT_EQ(verbose(makeMoveWord(6, 21, KNIGHT)), "Ng1f3");
    EXPECT_EQ(verbose(makeMoveWord(4, 6, KING)), "Ke1g1");
    EXPECT_EQ(verbose(makeMoveWord(36, 43, PAWN, PAWN)), "e5xd6");
    EXPECT_EQ(verbose(makeMoveWord(21, 36, KNIGHT, BISHOP)), "Nf3xBe5");
    EXPECT_EQ(verbose(makeMoveWord(52, 59, PAWN, ROOK, QUEEN)), "e7xRd8=Q");
    EXPECT_EQ(verbose(makeMoveWord(3, 39, QUEEN) | CHECK), "Qd1h5+");
    EXPECT_EQ(verbose(makeMoveWord(33, 42, BISHOP, KNIGHT) | CHECK | DISCOVERED_CHECK), "Bb5xNc6+!");
    EXPECT_EQ(verbose(makeMoveWord(12, 28, PAWN) | HASH_MOVE), "e2e4H");
    EXPECT_EQ(uciMoveText(makeMoveWord(49, 57, PAWN, 0, QUEEN)), "b7b8q");
    EXPECT_EQ(uciMoveText(makeMoveWord(49, 57, PAWN, 0, KNIGHT)), "b7b8n");
}

TEST(Notation, BoardDiagram) {
    setUp(START_FEN, "e2e4 e7e5 g1f3");
    // '#' stands for the shade byte 0xB0, '|' for 0xB3, 'L' for 0xC0 and '-' for 0xC4.
    std::string expected = "\n"
                           "after moves:\n"
                           "   1. e2e4      e7e5         2. Ng1f3     \n\n"
                           " 8 |#r# n #b# q #k# b #n# r  *\n"
                           " 7 | p #p# p #p#   #p# p #p#\n"
                           " 6 |###   ###   ###   ###   \n"
                           " 5 |   ###   ### p ###   ###\n"
                           " 4 |###   ###   #P#   ###   \n"
                           " 3 |   ###   ###   #N#   ###\n"
                           " 2 |#P# P #P# P ### P #P# P \n"
                           " 1 | R #N# B #Q# K #B#   #R#\n"
                           "   L------------------------\n"
                           "     A  B  C  D  E  F  G  H\n"
                           "\n";
    for (char& c : expected) {
        if (c == '#') c = char(0xB0);
        else if (c == '|') c = char(0xB3);
        else if (c == 'L') c = char(0xC0);
        else if (c == '-') c = char(0xC4);
    }
    std::string board = printedBy(printBoard);
    ASSERT_GT(board.size(), expected.size());
    EXPECT_EQ(board.substr(0, expected.size()), expected);
    char key[64];
    snprintf(key, sizeof key, "key = 0x%016llx\n", (unsigned long long)curr_ply->key);
    EXPECT_EQ(board.substr(expected.size()),
              std::string(key) + "fen = rnbqkbnr/pppp1ppp/8/4p3/4P3/5N2/PPPP1PPP/RNBQKB1R b KQkq - 1 2\n");

    setUp(START_FEN);
    board = printedBy(printBoard);
    EXPECT_NE(board.find("key = 0x463b96181691fc9c\nfen = rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1\n"),
              std::string::npos);
    // After the attack records are current, a side in check is marked.
    setUp("4k3/8/8/8/8/8/8/r3K3 w - - 0 1");
    computeAttacks();
    board = printedBy(printBoard);
    EXPECT_NE(board.find(" * (check !)\n"), std::string::npos);
}
