// Constant attack tables that follow from the geometry of the board, built at compile time.
#pragma once
#include <array>
#include "board.h"

namespace attack_geometry {
constexpr bool onBoard(int file, int rank) { return file >= 0 && file < 8 && rank >= 0 && rank < 8; }

constexpr Bitboard steps(int square, const int (*deltas)[2], int count) {
    Bitboard b = 0;
    for (int i = 0; i < count; i++) {
        int f = (square & 7) + deltas[i][0], r = (square >> 3) + deltas[i][1];
        if (onBoard(f, r)) b |= Bitboard(1) << (f + 8 * r);
    }
    return b;
}

constexpr Bitboard rays(int square, const int (*deltas)[2], int count) {
    Bitboard b = 0;
    for (int i = 0; i < count; i++) {
        int f = (square & 7) + deltas[i][0], r = (square >> 3) + deltas[i][1];
        while (onBoard(f, r)) {
            b |= Bitboard(1) << (f + 8 * r);
            f += deltas[i][0];
            r += deltas[i][1];
        }
    }
    return b;
}

constexpr int KNIGHT_DELTAS[8][2] = {{1, 2}, {2, 1}, {2, -1}, {1, -2}, {-1, -2}, {-2, -1}, {-2, 1}, {-1, 2}};
constexpr int KING_DELTAS[8][2] = {{1, 0}, {1, 1}, {0, 1}, {-1, 1}, {-1, 0}, {-1, -1}, {0, -1}, {1, -1}};
constexpr int ROOK_DELTAS[4][2] = {{0, 1}, {1, 0}, {0, -1}, {-1, 0}};
constexpr int BISHOP_DELTAS[4][2] = {{1, 1}, {-1, 1}, {1, -1}, {-1, -1}};
constexpr int WHITE_PAWN_DELTAS[2][2] = {{-1, 1}, {1, 1}};
constexpr int BLACK_PAWN_DELTAS[2][2] = {{-1, -1}, {1, -1}};

template <typename F>
constexpr std::array<Bitboard, 64> perSquare(F f) {
    std::array<Bitboard, 64> table{};
    for (int s = 0; s < 64; s++) table[s] = f(s);
    return table;
}

// One bit per rank (0-7), file (8-15), diagonal (16-30) and anti-diagonal (32-46).
constexpr Bitboard lineMask(int s) {
    int r = s >> 3, f = s & 7;
    return (Bitboard(1) << r) | (Bitboard(1) << (8 + f)) | (Bitboard(1) << (23 + r - f)) |
           (Bitboard(1) << (32 + r + f));
}
} // namespace attack_geometry

inline constexpr std::array<Bitboard, 64> knight_attacks =
    attack_geometry::perSquare([](int s) { return attack_geometry::steps(s, attack_geometry::KNIGHT_DELTAS, 8); });
inline constexpr std::array<Bitboard, 64> king_attacks =
    attack_geometry::perSquare([](int s) { return attack_geometry::steps(s, attack_geometry::KING_DELTAS, 8); });
inline constexpr std::array<Bitboard, 64> rook_lines =
    attack_geometry::perSquare([](int s) { return attack_geometry::rays(s, attack_geometry::ROOK_DELTAS, 4); });
inline constexpr std::array<Bitboard, 64> bishop_lines =
    attack_geometry::perSquare([](int s) { return attack_geometry::rays(s, attack_geometry::BISHOP_DELTAS, 4); });
inline constexpr std::array<Bitboard, 64> line_masks = attack_geometry::perSquare(attack_geometry::lineMask);
inline constexpr std::array<std::array<Bitboard, 64>, 2> pawn_attacks = {
    attack_geometry::perSquare([](int s) { return attack_geometry::steps(s, attack_geometry::BLACK_PAWN_DELTAS, 2); }),
    attack_geometry::perSquare([](int s) { return attack_geometry::steps(s, attack_geometry::WHITE_PAWN_DELTAS, 2); }),
};

constexpr Bitboard FILE_A = 0x0101010101010101ULL;
constexpr Bitboard FILE_H = 0x8080808080808080ULL;
constexpr Bitboard RANK_1 = 0xffULL;
constexpr Bitboard RANK_8 = 0xff00000000000000ULL;
