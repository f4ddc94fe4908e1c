// The king and pawn against king bitbase: lookup, and the retrograde analysis that produces it.
#include <cstring>
#include <vector>
#include "kpk.h"
#include "../engine/board/attacks.h"

namespace {
// Place of a white pawn on files a to d, ranks 2 to 7, in the table's order.
inline int pawnIndex(int pawn) { return 4 * (6 - (pawn >> 3)) + (pawn & 7); }
} // namespace

bool kpkDraw(int pawn_king, int pawn, int defender_king, bool pawn_white, bool pawn_side_to_move) {
    // Make the pawn side White with its pawn on files a to d.
    int flip = (pawn_white ? 0 : 56) + ((pawn & 7) >= 4 ? 7 : 0);
    uint64_t word = kpk_bitbase[pawnIndex(pawn ^ flip) * 128 + (pawn_side_to_move ? 64 : 0) + (defender_king ^ flip)];
    return (word >> (pawn_king ^ flip)) & 1;
}

namespace {

enum : uint8_t { UNKNOWN = 0, WIN, DRAW, INVALID };

// Positions indexed like the bitbase: (pawn_index * 128 + white_to_move * 64 + black king) * 64 + white king.
inline int positionIndex(int pawn, bool white_to_move, int bk, int wk) {
    return ((pawnIndex(pawn) * 128 + (white_to_move ? 64 : 0) + bk) << 6) + wk;
}

uint8_t initialClass(int wk, int pawn, int bk, bool white_to_move) {
    if (wk == bk || wk == pawn || bk == pawn || (king_attacks[wk] & bit(bk))) return INVALID;
    if (white_to_move) {
        if (pawn_attacks[WHITE][pawn] & bit(bk)) return INVALID;
        int queen = pawn + 8;
        if (pawn >> 3 == 6 && queen != wk && queen != bk &&
            (!(king_attacks[bk] & bit(queen)) || (king_attacks[wk] & bit(queen))))
            return WIN;
        return UNKNOWN;
    }
    Bitboard guarded = king_attacks[wk] | pawn_attacks[WHITE][pawn];
    if (!(king_attacks[bk] & ~guarded)) return DRAW;                                    // no legal move
    if ((king_attacks[bk] & bit(pawn)) && !(king_attacks[wk] & bit(pawn))) return DRAW; // pawn falls
    return UNKNOWN;
}

} // namespace

void buildKpkBitbase(uint64_t table[KPK_WORDS]) {
    std::vector<uint8_t> state(KPK_WORDS * 64);
    for (int pawn = 8; pawn < 56; pawn++) {
        if ((pawn & 7) >= 4) continue;
        for (int stm = 0; stm < 2; stm++)
            for (int bk = 0; bk < 64; bk++)
                for (int wk = 0; wk < 64; wk++)
                    state[positionIndex(pawn, stm, bk, wk)] = initialClass(wk, pawn, bk, stm);
    }

    for (bool changed = true; changed;) {
        changed = false;
        for (int pawn = 8; pawn < 56; pawn++) {
            if ((pawn & 7) >= 4) continue;
            for (int stm = 0; stm < 2; stm++)
                for (int bk = 0; bk < 64; bk++)
                    for (int wk = 0; wk < 64; wk++) {
                        uint8_t& s = state[positionIndex(pawn, stm, bk, wk)];
                        if (s != UNKNOWN) continue;
                        uint8_t result;
                        if (stm) {
                            // White: a win if some move wins, a draw if all moves draw.
                            bool all_draw = true, win = false;
                            auto visit = [&](int to_wk, int to_pawn) {
                                uint8_t r = state[positionIndex(to_pawn, false, bk, to_wk)];
                                win |= r == WIN;
                                all_draw &= r == DRAW;
                            };
                            FOR_EACH_SQUARE(to, king_attacks[wk] & ~king_attacks[bk] & ~bit(pawn)) visit(to, pawn);
                            int rank = pawn >> 3;
                            if (rank < 6 && pawn + 8 != wk && pawn + 8 != bk) {
                                visit(wk, pawn + 8);
                                if (rank == 1 && pawn + 16 != wk && pawn + 16 != bk) visit(wk, pawn + 16);
                            }
                            result = win ? WIN : all_draw ? DRAW : UNKNOWN;
                        } else {
                            // Black: a draw if some move draws, a win if all moves win. Captures of
                            // the pawn are settled by the initial classification.
                            bool all_win = true, draw = false;
                            Bitboard moves =
                                king_attacks[bk] & ~king_attacks[wk] & ~pawn_attacks[WHITE][pawn] & ~bit(pawn);
                            FOR_EACH_SQUARE(to, moves) {
                                uint8_t r = state[positionIndex(pawn, true, to, wk)];
                                draw |= r == DRAW;
                                all_win &= r == WIN;
                            }
                            result = draw ? DRAW : all_win ? WIN : UNKNOWN;
                        }
                        if (result != UNKNOWN) {
                            s = result;
                            changed = true;
                        }
                    }
        }
    }

    memset(table, 0, KPK_WORDS * sizeof(uint64_t));
    for (int i = 0; i < KPK_WORDS * 64; i++)
        if (state[i] == DRAW || state[i] == UNKNOWN) table[i >> 6] |= uint64_t(1) << (i & 63);
}
