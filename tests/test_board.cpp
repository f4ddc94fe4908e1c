// Keys, castling rights, pawn sets, attack tables and copy-make on known positions.
#include <gtest/gtest.h>
#include "tests/position_fixture.h"
#include "engine/board/attacks.h"
#include "engine/board/makemove.h"
#include "engine/board/movegen.h"

namespace {
int sq(const char* name) { return (name[0] - 'a') + 8 * (name[1] - '1'); }
Bitboard squares(std::initializer_list<const char*> names) {
    Bitboard b = 0;
    for (const char* n : names) b |= bit(sq(n));
    return b;
}
} // namespace

TEST(Board, ZobristKeys) {
    setUp(START_FEN);
    EXPECT_EQ(curr_ply->key, 0x463b96181691fc9cULL);
    EXPECT_EQ(computeKey(), curr_ply->key);
    EXPECT_EQ(curr_ply->mirror, 0u);
    setUp(START_FEN, "e2e4");
    EXPECT_EQ(curr_ply->key, 0x4d0dde8ef7cc031fULL);
    EXPECT_EQ(curr_ply->en_passant, squares({"e3"}));
    EXPECT_EQ(curr_ply->halfmove, 0);
    EXPECT_EQ(curr_ply->mirror, 3640u);
    // The same position read from FEN: the en passant term counts although no pawn can take.
    setUp("rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR b KQkq e3 0 1");
    EXPECT_EQ(curr_ply->key, 0x4d0dde8ef7cc031fULL);
    // Published Polyglot keys further along a game.
    setUp(START_FEN, "e2e4 d7d5 e4e5 f7f5 e1e2 e8f7");
    EXPECT_EQ(curr_ply->key, 0x00fdd303c946bdd9ULL);
    EXPECT_EQ(computeKey(), curr_ply->key);
    setUp(START_FEN, "a2a4 b7b5 h2h4 b5b4 c2c4 b4c3 a1a3");
    EXPECT_EQ(curr_ply->key, 0x5c3f9b829b279560ULL);
    EXPECT_EQ(computeKey(), curr_ply->key);
}

TEST(Board, CastlingRightsAndKeys) {
    EXPECT_EQ(castlingKey(squares({"e1", "h1"})), Z[768]);
    EXPECT_EQ(castlingKey(squares({"h1"})), 0u);
    EXPECT_EQ(castlingKey(squares({"a1", "e1", "h1", "a8", "e8", "h8"})), Z[768] ^ Z[769] ^ Z[770] ^ Z[771]);
    setUp("r3k2r/8/8/8/8/8/8/R3K2R w K - 0 1");
    EXPECT_EQ(curr_ply->castling, squares({"e1", "h1"}));
    setUp("r3k2r/8/8/8/8/8/8/R3K2R w KQkqA - 0 1");
    EXPECT_EQ(curr_ply->castling, squares({"a1", "e1", "h1", "a8", "e8", "h8"}));
    // Castling king-side: the rook goes to f1, e1 leaves the set and the key loses White's king-side term.
    setUp("r3k2r/8/8/8/8/8/8/R3K2R w KQkq - 0 1", "e1g1");
    EXPECT_EQ(curr_ply->white.pieces[ROOK], squares({"a1", "f1"}));
    EXPECT_EQ(curr_ply->castling, squares({"a1", "h1", "a8", "e8", "h8"}));
    EXPECT_EQ(computeKey(), curr_ply->key);
    // Capturing a rook on its corner removes that corner.
    setUp("r3k2r/8/8/8/8/8/8/R3K2R w KQkq - 0 1", "h1h8");
    EXPECT_EQ(curr_ply->castling, squares({"a1", "e1", "a8", "e8"}));
    EXPECT_EQ(computeKey(), curr_ply->key);
}

TEST(Board, PawnStructure) {
    setUp("4k3/8/8/4P3/4P3/8/8/4K3 w - - 0 1");
    EXPECT_EQ(curr_ply->white.doubled, squares({"e4"}));
    EXPECT_EQ(curr_ply->white.isolated, squares({"e4", "e5"}));
    EXPECT_EQ(curr_ply->white.passed, squares({"e4", "e5"}));
    // A Black pawn on d4 is passed unless a White pawn stands on c1-c3, d1-d3 or e1-e3.
    setUp("4k3/8/8/8/3p4/8/8/4K3 w - - 0 1");
    EXPECT_EQ(curr_ply->black.passed, squares({"d4"}));
    setUp("4k3/8/8/8/3p4/8/4P3/4K3 w - - 0 1");
    EXPECT_EQ(curr_ply->black.not_passed, squares({"d4"}));
    setUp("4k3/8/8/8/3p4/8/8/4K3 w - - 0 1", "e1e2 d4d3");
    EXPECT_EQ(curr_ply->black.passed, squares({"d3"}));
}

TEST(Board, AttackTables) {
    EXPECT_EQ(line_masks[0], 0x100800101ULL);
    EXPECT_EQ(line_masks[7], 0x8000018001ULL);
    EXPECT_EQ(line_masks[63], 0x400000808080ULL);
    EXPECT_NE(line_masks[sq("a1")] & line_masks[sq("d4")] & line_masks[sq("h8")], 0u);
    EXPECT_EQ(line_masks[sq("a1")] & line_masks[sq("d4")] & line_masks[sq("h7")], 0u);
    EXPECT_EQ(pawn_attacks[WHITE][sq("a2")], squares({"b3"}));
    EXPECT_EQ(pawn_attacks[BLACK][sq("h7")], squares({"g6"}));
    initTables();
    EXPECT_EQ(getRookMoves(0, 0), (FILE_A | RANK_1) & ~1ULL);
    EXPECT_EQ(getRookMoves(squares({"a2", "b1"}), 0), squares({"a2", "b1"}));
    EXPECT_EQ(popcount(getBishopMoves(0, sq("d4"))), 13);
    Bitboard outside = ~sliders::bishop_masks[sq("d4")] | bit(sq("d4"));
    EXPECT_EQ(getBishopMoves(outside, sq("d4")), getBishopMoves(0, sq("d4")));
    EXPECT_EQ(popcount(sliders::rook_masks[sq("a1")]), 12);
    EXPECT_EQ(popcount(sliders::rook_masks[sq("d4")]), 10);
    EXPECT_EQ(popcount(sliders::bishop_masks[sq("d4")]), 9);
    EXPECT_EQ(popcount(sliders::bishop_masks[sq("a1")]), 6);
    // Every lookup agrees with walking the board, on random occupancies.
    uint64_t x = 0x9e3779b97f4a7c15ULL;
    for (int i = 0; i < 20000; i++) {
        x ^= x << 13, x ^= x >> 7, x ^= x << 17;
        Bitboard occ = x & (x >> 3);
        int s = int(x >> 58);
        ASSERT_EQ(getRookMoves(occ, s), sliders::walkAttacks(s, occ, true));
        ASSERT_EQ(getBishopMoves(occ, s), sliders::walkAttacks(s, occ, false));
        ASSERT_EQ(getQueenMoves(occ, s), getRookMoves(occ, s) | getBishopMoves(occ, s));
    }
}

TEST(Board, MakeAndTakeBack) {
    setUp(START_FEN);
    computeAttacks();
    generateMoves(GEN_ALL);
    Ply before = *curr_ply;
    makeMove(curr_ply->moves[9]); // e2e4
    EXPECT_EQ(ply_index, 1);
    takeBack();
    EXPECT_EQ(ply_index, 0);
    EXPECT_EQ(curr_ply, &plies[0]);
    EXPECT_EQ(curr_ply->key, before.key);
    EXPECT_EQ(curr_ply->generated, before.generated);
    EXPECT_EQ(0, memcmp(curr_ply->moves, before.moves, sizeof(Move) * before.generated));
    EXPECT_EQ(0, memcmp(&curr_ply->black, &before.black, PLY_LEADING_BLOCK));
    // En passant removes the pawn behind the destination and resets the clock.
    setUp("4k3/8/8/3pP3/8/8/8/4K3 w - d6 5 1", "e5d6");
    EXPECT_EQ(curr_ply->black.pieces[PAWN], 0u);
    EXPECT_EQ(curr_ply->halfmove, 0);
    EXPECT_EQ(computeKey(), curr_ply->key);
    // A null move keeps the pieces, clears en passant and toggles the side.
    setUp(START_FEN, "e2e4");
    uint64_t key = curr_ply->key;
    makeNullMove();
    EXPECT_EQ(curr_ply->en_passant, 0u);
    EXPECT_EQ(curr_ply->halfmove, 1);
    EXPECT_TRUE(whiteToMove(curr_ply));
    EXPECT_EQ(curr_ply->key, key ^ Z[780] ^ Z[772 + 4]);
    EXPECT_EQ(computeKey(), curr_ply->key);
    takeBack();
}
