// King and pawn against king: a bitbase of the drawn positions.
#pragma once
#include <cstdint>

constexpr int KPK_WORDS = 3072;

// Word pawn_index * 128 + (64 if the pawn side is to move) + defending king square; bit =
// attacking king square. The pawn side is White with its pawn on files a-d, ranks 2-7, and
// pawn_index = 4 * (6 - rank) + file (rank counted from 0). A set bit is a draw.
// The table is data (evaluation/kpk_bitbase.cpp) written by tools/generate_kpk from buildKpkBitbase.
extern const uint64_t kpk_bitbase[KPK_WORDS];

// Works the bitbase out by retrograde analysis of every legal position.
void buildKpkBitbase(uint64_t table[KPK_WORDS]);

// True when the king and pawn ending is a draw. The pawn side's king and pawn and the
// defender's king are given as they stand on the board; pawn_white is the pawn side's colour.
// The pawn must stand on ranks 2 to 7.
bool kpkDraw(int pawn_king, int pawn, int defender_king, bool pawn_white, bool pawn_side_to_move);
