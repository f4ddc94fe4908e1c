// The board and rules. This chief header holds the position record, the move word and the ply
// stack; beside it are attacks (constant attack tables), movegen (legal moves), makemove
// (copy-make), notation and fen (text in and out), perft (path counts) and assertion (the
// consistency checks every part uses). The board includes nothing above it; sliders/ is its peer.
#pragma once
#include <cstdint>
#include <cstddef>

typedef uint64_t Bitboard;
typedef uint32_t Move;

enum { BLACK = 0, WHITE = 1 };
enum { EMPTY = 0, PAWN = 1, KNIGHT = 2, BISHOP = 3, ROOK = 4, QUEEN = 5, KING = 6 };

// Move word fields. Bits 16-28 compared as one number rank a move for the search:
// hash move, then promotion piece, captured piece, discovered check, check, escape, pawn push.
enum : uint32_t {
    TO_MASK = 0x3f,
    FROM_MASK = 0xfc0,
    PIECE_MASK = 0x7000,
    ADVANCED_PAWN = 0x10000,
    ESCAPE = 0x20000,
    CHECK = 0x40000,
    DISCOVERED_CHECK = 0x80000,
    CAPTURE_MASK = 0x700000,
    PROMOTION_MASK = 0x7000000,
    HASH_MOVE = 0x10000000,
    ORDER_MASK = 0x1fff0000,
    GIVES_CHECK = CHECK | DISCOVERED_CHECK,
};

inline int moveTo(Move m) { return m & 63; }
inline int moveFrom(Move m) { return (m >> 6) & 63; }
inline int movePiece(Move m) { return 7 - ((m >> 12) & 7); }
inline int moveCaptured(Move m) { return (m >> 20) & 7; }
inline int movePromotion(Move m) { return (m >> 24) & 7; }
inline Move makeMoveWord(int from, int to, int piece, int captured = 0, int promotion = 0) {
    return Move(to | (from << 6) | ((7 - piece) << 12) | (captured << 20) | (promotion << 24));
}

// XOR-ing a move with this reflects both its squares top to bottom.
constexpr uint32_t MIRROR_BLACK = 3640;

struct ColourInfo {
    Bitboard far_half;   // the half of the board nearest the enemy's back rank
    Bitboard far_centre; // files c-f on the colour's relative ranks 5 and 6
    int colour;
    int key_offset[7];   // first Zobrist index of each piece type of this colour
};

struct AttackInfo {
    Bitboard attacked[7];
    Bitboard check_squares[7];
    Bitboard checkers;
    Bitboard pinned;
    Bitboard discoverers;
    Bitboard evasions;
};

struct Side {
    int king;
    ColourInfo* info;
    AttackInfo* attacks;
    Bitboard pieces[7];
    Bitboard not_passed;
    Bitboard passed;
    Bitboard doubled;
    Bitboard isolated;
};

constexpr int MAX_MOVES = 372;
constexpr int MAX_PLIES = 1024;

struct Ply {
    // Leading block: the only part that makeMove copies into the next record.
    Side black;
    Side white;
    uint64_t key;
    Bitboard castling;
    // Everything below is set by makeMove or recomputed on demand.
    Side* player;
    Side* opponent;
    AttackInfo black_attacks;
    AttackInfo white_attacks;
    Bitboard occupancy;
    Bitboard en_passant;
    Bitboard attacks_from[64];
    int halfmove;
    int pawn_ending;
    Move move;
    int generated;
    uint32_t mirror;
    Move moves[MAX_MOVES];
};

constexpr size_t PLY_LEADING_BLOCK = offsetof(Ply, player);

extern ColourInfo colour_info[2];
extern Ply plies[MAX_PLIES];
extern int ply_index;
extern Ply* curr_ply;
extern const uint64_t Z[781];

enum { Z_CASTLING = 768, Z_EN_PASSANT = 772, Z_WHITE_TO_MOVE = 780 };

void initColours();
void resetStack();
void takeBack();
uint64_t computeKey();
uint64_t castlingKey(Bitboard castling);
// Whether some castling is still allowed: a king's square together with one of its rook squares.
inline bool canCastle(Bitboard castling) {
    constexpr Bitboard A1 = 1ULL << 0, E1 = 1ULL << 4, H1 = 1ULL << 7, A8 = 1ULL << 56, E8 = 1ULL << 60, H8 = 1ULL << 63;
    return ((castling & E1) && (castling & (A1 | H1))) || ((castling & E8) && (castling & (A8 | H8)));
}
void computePawnStructure();

inline int popcount(Bitboard b) { return __builtin_popcountll(b); }
inline int lsb(Bitboard b) { return __builtin_ctzll(b); }
inline Bitboard bit(int square) { return Bitboard(1) << square; }
inline int fileOf(int square) { return square & 7; }
inline int rankOf(int square) { return square >> 3; }

// Visits the squares of a bitboard from the lowest upwards.
#define FOR_EACH_SQUARE(square, set) \
    for (Bitboard bb_##square = (set); bb_##square; bb_##square &= bb_##square - 1) \
        if (int square = lsb(bb_##square); true)

// The type of the piece of either colour on a square, 0 when empty.
inline int pieceTypeOn(const Ply* ply, int square) {
    Bitboard b = bit(square);
    for (int t = PAWN; t <= KING; t++)
        if ((ply->black.pieces[t] | ply->white.pieces[t]) & b) return t;
    return EMPTY;
}

inline bool whiteToMove(const Ply* ply) { return ply->player->info->colour == WHITE; }
