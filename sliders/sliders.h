// Rook, bishop and queen attacks on any occupancy, looked up in magic-multiplication tables.
#pragma once
#include <cstdint>

typedef uint64_t Bitboard;

namespace sliders {
extern Bitboard rook_masks[64];
extern Bitboard bishop_masks[64];
extern const Bitboard rook_magics[64];
extern const Bitboard bishop_magics[64];
extern Bitboard rook_table[64][4096];
extern Bitboard bishop_table[64][512];
} // namespace sliders

// Builds the masks and both tables and checks every entry; runs once at start-up.
void initSliders();

inline Bitboard getRookMoves(Bitboard occupancy, int square) {
    using namespace sliders;
    return rook_table[square][((occupancy & rook_masks[square]) * rook_magics[square]) >> 52];
}

inline Bitboard getBishopMoves(Bitboard occupancy, int square) {
    using namespace sliders;
    return bishop_table[square][((occupancy & bishop_masks[square]) * bishop_magics[square]) >> 55];
}

inline Bitboard getQueenMoves(Bitboard occupancy, int square) {
    return getRookMoves(occupancy, square) | getBishopMoves(occupancy, square);
}

// Building blocks of the tables, shared with the magic-search tool.
namespace sliders {
// Relevant occupancy squares: the empty-board lines without the board edges the piece does not stand on.
Bitboard relevantMask(int square, bool rook);
// Attacks found by walking each direction until the first occupied square or the edge.
Bitboard walkAttacks(int square, Bitboard occupancy, bool rook);
// Software parallel bit deposit: bit k of index goes to the k-th lowest square of mask.
Bitboard depositBits(uint64_t index, Bitboard mask);
} // namespace sliders
