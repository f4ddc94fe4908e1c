// Move words, list order and flag bits of the generator, in all four modes.
#include <gtest/gtest.h>
#include <algorithm>
#include <string>
#include <vector>
#include "tests/position_fixture.h"
#include "engine/board/makemove.h"
#include "engine/board/movegen.h"

namespace {
// The moves of the current position in generation order, as UCI words.
std::string moveList(int mode = GEN_ALL) {
    computeAttacks();
    generateMoves(mode);
    std::string text;
    for (int i = 0; i < curr_ply->generated; i++) {
        if (i) text += ' ';
        text += uciMoveText(curr_ply->moves[i]);
    }
    return text;
}
} // namespace

namespace {
// Checks every generated word of curr_ply against the board: the mover stands on its from
// square, the victim on its to square (or behind it, en passant), a promotion is a pawn reaching
// the last rank, and after the move the to square holds what the word says.
void checkWordsAgainstTheBoard() {
    computeAttacks();
    generateMoves(GEN_ALL);
    Ply* ply = curr_ply;
    int generated = ply->generated;
    Move moves[MAX_MOVES];
    std::copy(ply->moves, ply->moves + generated, moves);
    for (int i = 0; i < generated; i++) {
        Move m = moves[i];
        int from = moveFrom(m), to = moveTo(m), piece = movePiece(m);
        SCOPED_TRACE(uciMoveText(m));
        constexpr Move FIELDS =
            SQUARES_MASK | PIECE_MASK | ADVANCED_PAWN | ESCAPE | GIVES_CHECK | CAPTURE_MASK | PROMOTION_MASK;
        EXPECT_EQ(m & ~FIELDS, 0u) << "an unused bit or the hash-move mark";
        EXPECT_TRUE(ply->player->pieces[piece] & bit(from));
        if (ply->en_passant & bit(to) && piece == PAWN && fileOf(from) != fileOf(to)) EXPECT_EQ(moveCaptured(m), PAWN);
        else EXPECT_EQ(moveCaptured(m), pieceTypeOn(ply, to));
        bool last_rank = piece == PAWN && (rankOf(to) == 0 || rankOf(to) == 7);
        EXPECT_EQ(movePromotion(m) != 0, last_rank);
        makeMove(m);
        EXPECT_TRUE(curr_ply->opponent->pieces[last_rank ? movePromotion(m) : piece] & bit(to));
        takeBack();
    }
}
} // namespace

TEST(MoveGen, MoveWords) {
    for (const char* fen : CLASSIC_FENS) {
        setUp(fen);
        checkWordsAgainstTheBoard();
    }
    setUp(START_FEN, "e2e4 d7d5 e4e5 f7f5");
    checkWordsAgainstTheBoard();
    // Mirroring a word reflects it top to bottom: White's e2e4 reads as Black's e7e5.
    setUp(START_FEN);
    EXPECT_EQ(uciMoveText(findMove("e2e4") ^ MIRROR_BLACK), "e7e5");
    // Promotions, queen first; on a8 the queen and the rook give check along the rank.
    setUp("4k3/P7/8/8/8/8/8/4K3 w - - 0 1");
    computeAttacks();
    generateMoves(GEN_ALL);
    const int promoted[4] = {QUEEN, ROOK, BISHOP, KNIGHT};
    for (int i = 0; i < 4; i++) {
        EXPECT_EQ(uciMoveText(curr_ply->moves[i]).substr(0, 4), "a7a8");
        EXPECT_EQ(movePromotion(curr_ply->moves[i]), promoted[i]);
        EXPECT_EQ((curr_ply->moves[i] & CHECK) != 0, i < 2);
    }
}

TEST(MoveGen, ListOrder) {
    setUp(START_FEN);
    EXPECT_EQ(moveList(), "a2a3 a2a4 b2b3 b2b4 c2c3 c2c4 d2d3 d2d4 e2e3 e2e4 f2f3 f2f4 g2g3 g2g4 h2h3 h2h4 "
                          "b1a3 b1c3 g1f3 g1h3");
    // Promotions first (per destination: queen, rook, bishop, knight), en passant, pawns, pieces,
    // king, then castling king-side before queen-side.
    setUp("r3k2r/1P6/8/3pP3/8/8/8/R3K2R w KQkq d6 0 1");
    std::string list = moveList();
    EXPECT_EQ(list.substr(0, 48), "b7a8q b7a8r b7a8b b7a8n b7b8q b7b8r b7b8b b7b8n ");
    EXPECT_EQ(list.substr(48, 12), "e5d6 e5e6 a1");
    EXPECT_EQ(list.substr(list.size() - 9), "e1g1 e1c1");
}

TEST(MoveGen, LegalityRules) {
    // En passant that would expose the king along the rank is not generated.
    setUp("8/8/8/K2pP2r/8/8/8/7k w - d6 0 1");
    EXPECT_EQ(moveList().find("e5d6"), std::string::npos);
    // En passant that removes a checking pawn is.
    setUp("8/8/8/3pP3/4K3/8/8/7k w - d6 0 1");
    EXPECT_NE(moveList().find("e5d6"), std::string::npos);
    // Double check: king moves only, not back along the checking line, not onto a defended checker.
    setUp("4r2k/8/8/8/8/5n2/8/4K3 w - - 0 1");
    EXPECT_EQ(moveList(), "e1d1 e1f1 e1f2");
    setUp("7k/8/8/8/8/8/8/r3K3 w - - 0 1");
    EXPECT_EQ(moveList(), "e1d2 e1e2 e1f2");
    // Castling: not in check, not through an attacked square, not with a piece between;
    // queen-side needs b1 empty but not unattacked.
    setUp("1r2k3/8/8/8/8/8/8/R3K2R w KQ - 0 1");
    EXPECT_NE(moveList().find("e1c1"), std::string::npos);
    setUp("4k3/8/8/8/8/8/5r2/R3K2R w KQ - 0 1");
    EXPECT_EQ(moveList().find("e1g1"), std::string::npos);
    setUp("4k3/8/8/8/8/8/8/RN2K1NR w KQ - 0 1");
    EXPECT_EQ(moveList().find("e1g1"), std::string::npos);
    EXPECT_EQ(moveList().find("e1c1"), std::string::npos);
    setUp("4k3/8/8/8/8/8/8/R3K2r w Q - 0 1");
    EXPECT_EQ(moveList().find("e1c1"), std::string::npos);
    // A pinned bishop moves along the pin and may take the pinner; a pinned knight cannot move.
    setUp("4k3/8/8/8/7b/8/5B2/4K3 w - - 0 1");
    EXPECT_EQ(moveList().substr(0, 9), "f2g3 f2h4");
    setUp("4k3/4r3/8/8/8/8/4N3/4K3 w - - 0 1");
    EXPECT_EQ(moveList().find("e2"), std::string::npos);
}

TEST(MoveGen, FlagsAndModes) {
    // Mode 1 keeps flagged moves only: checks, captures, escapes, advanced pawns, promotions.
    setUp("4k3/8/8/8/8/8/8/4K1N1 w - - 0 1");
    EXPECT_EQ(moveList(GEN_TACTICAL), "");
    setUp("4k3/8/8/8/4N3/8/8/4K3 w - - 0 1");
    EXPECT_EQ(moveList(GEN_TACTICAL), "e4d6 e4f6");
    EXPECT_TRUE(findMove("e4d6") & CHECK);
    // Mode 2: captures and promotions without capture.
    setUp("3rk3/2P5/8/8/8/8/8/4K3 w - - 0 1");
    EXPECT_EQ(moveList(GEN_CAPTURES), "c7c8q c7c8r c7c8b c7c8n c7d8q c7d8r c7d8b c7d8n");
    // Mode 3 at the root: only promotions and en passant captures.
    setUp("4k3/2P5/8/3pP3/8/8/8/R3K3 w - d6 0 1");
    EXPECT_EQ(moveList(GEN_RECAPTURES), "c7c8q c7c8r c7c8b c7c8n e5d6");
    // Mode 3 after a capture: only moves to that square.
    setUp("4k3/8/8/3p4/4P3/2N5/8/4K3 b - - 0 1", "d5e4");
    EXPECT_EQ(moveList(GEN_RECAPTURES), "c3e4");
    // Direct and discovered check together.
    setUp("4k3/8/8/8/8/8/4N3/4R1K1 w - - 0 1");
    Move m = findMove("e2d4");
    EXPECT_TRUE(m & DISCOVERED_CHECK);
    EXPECT_FALSE(m & CHECK);
    m = findMove("e2f4");
    EXPECT_TRUE(m & DISCOVERED_CHECK);
    EXPECT_TRUE((findMove("e2d4") & (CHECK | DISCOVERED_CHECK)) == DISCOVERED_CHECK);
    setUp("4k3/8/8/8/8/8/4B3/4R1K1 w - - 0 1");
    EXPECT_EQ(findMove("e2b5") & (CHECK | DISCOVERED_CHECK), CHECK | DISCOVERED_CHECK);
    // Advanced pawns: in the far half, or passed.
    setUp("4k3/8/8/4P3/8/8/P7/4K3 w - - 0 1");
    EXPECT_TRUE(findMove("e5e6") & ADVANCED_PAWN);
    EXPECT_TRUE(findMove("a2a3") & ADVANCED_PAWN);
    setUp("4k3/1p6/8/8/8/8/P7/4K3 w - - 0 1");
    EXPECT_FALSE(findMove("a2a3") & ADVANCED_PAWN);
}

namespace {
// At every node of the tree below curr_ply: the count and the capture list against the full list
// (the captures are its moves that capture or promote, in the same order); returns the nodes.
int compareCounts(int depth) {
    computeAttacks();
    generateMoves(GEN_CAPTURES);
    std::vector<Move> captures(curr_ply->moves, curr_ply->moves + curr_ply->generated);
    int counted = countMoves();
    generateMoves(GEN_ALL);
    EXPECT_EQ(counted, curr_ply->generated) << fenText();
    std::vector<Move> expected;
    for (int i = 0; i < curr_ply->generated; i++)
        if (curr_ply->moves[i] & (CAPTURE_MASK | PROMOTION_MASK)) expected.push_back(curr_ply->moves[i]);
    EXPECT_EQ(captures, expected) << fenText();
    int nodes = 1;
    if (depth > 0)
        for (int i = 0; i < curr_ply->generated; i++) {
            makeMove(curr_ply->moves[i]);
            nodes += compareCounts(depth - 1);
            takeBack();
        }
    return nodes;
}
} // namespace

// The count that perft takes at its last level, and the captures of the quiescence search: pinned
// pawns and pieces, en passant, promotions, castling and check evasions all occur below these.
TEST(MoveGen, CountAndCapturesAgreeWithTheList) {
    int nodes = 0;
    for (const char* fen : CLASSIC_FENS) {
        setUp(fen);
        nodes += compareCounts(2);
    }
    for (const char* fen :
         {"rnbq1k1r/pp1Pbppp/2p5/8/2B5/8/PPP1NnPP/RNBQK2R w KQ - 1 8", "4k3/8/8/2KpP2r/8/8/8/8 w - d6 0 1",
          "4k3/8/8/8/1b6/8/3P4/4K3 w - - 0 1", "4k3/2P5/8/b7/8/8/8/4K3 w - - 0 1"}) {
        setUp(fen);
        nodes += compareCounts(3);
    }
    EXPECT_GT(nodes, 10000);
}
