// The board and rules. This chief header holds the position record, the move word and the ply
// stack; beside it are attacks (constant attack tables), movegen (legal moves), makemove
// (copy-make), notation and fen (text in and out), perft (path counts) and assertion (the
// consistency checks every part uses). The board includes nothing above it; sliders/ is its peer.
#pragma once
#include <array>
#include <cstdint>
#include <cstddef>

typedef uint64_t Bitboard;
typedef uint32_t Move;

enum { BLACK = 0, WHITE = 1 };
enum { EMPTY = 0, PAWN = 1, KNIGHT = 2, BISHOP = 3, ROOK = 4, QUEEN = 5, KING = 6 };

// The move word, from the lowest bit: to square (bits 0-5), from square (6-11), piece code
// 7 - type (12-14), the four ordering flags (16-19), captured type (20-22), promotion type
// (24-26) and the hash-move mark (28); bits 15, 23, 27 and 29-31 stay 0. The field order is the
// ordering key: bits 16-28 compared as one number rank the hash move first, then promotions by
// piece, captures by victim, discovered checks, checks, escapes and advanced pawn moves; over the
// whole word the piece code puts a cheaper mover first. Only this block knows the positions.
enum : int { FROM_SHIFT = 6, PIECE_SHIFT = 12, ORDER_SHIFT = 16, CAPTURE_SHIFT = 20, PROMOTION_SHIFT = 24 };
enum : uint32_t {
    TO_MASK = 0x3f,
    FROM_MASK = 0xfc0,
    SQUARES_MASK = FROM_MASK | TO_MASK, // from and to together: the index of the per-move tables
    PIECE_MASK = 0x7000,
    ADVANCED_PAWN = 0x10000,
    ESCAPE = 0x20000,
    CHECK = 0x40000,
    DISCOVERED_CHECK = 0x80000,
    CAPTURE_MASK = 0x700000,
    PROMOTION_MASK = 0x7000000,
    HASH_MOVE = 0x10000000,
    ORDER_MASK = 0x1fff0000,
    UNMARKED_MASK = 0x0fffffff, // every field but the hash-move mark
    GIVES_CHECK = CHECK | DISCOVERED_CHECK,
};

constexpr int moveTo(Move m) { return int(m & TO_MASK); }
constexpr int moveFrom(Move m) { return int((m & FROM_MASK) >> FROM_SHIFT); }
// 7 - the moving piece's type, as the word holds it (and as the history table is indexed).
constexpr int pieceCode(Move m) { return int((m & PIECE_MASK) >> PIECE_SHIFT); }
constexpr int movePiece(Move m) { return 7 - pieceCode(m); }
constexpr int moveCaptured(Move m) { return int((m & CAPTURE_MASK) >> CAPTURE_SHIFT); }
constexpr int movePromotion(Move m) { return int((m & PROMOTION_MASK) >> PROMOTION_SHIFT); }
// From and to squares as one index, 0..4095.
constexpr int moveSquares(Move m) { return int(m & SQUARES_MASK); }
constexpr Move unmarked(Move m) { return m & UNMARKED_MASK; }
// The fields do not overlap, so adding them sets them; a sum lets the compiler fold the parts that
// stay the same over a generator's loop into one constant.
constexpr Move makeMoveWord(int from, int to, int piece, int captured = 0, int promotion = 0) {
    return Move(to + (from << FROM_SHIFT) + ((7 - piece) << PIECE_SHIFT) + (captured << CAPTURE_SHIFT) +
                (promotion << PROMOTION_SHIFT));
}
// The captured-type field alone, for a word made without it (the generator adds it only where the
// destination holds an enemy piece).
constexpr Move capturedField(int captured) { return Move(captured) << CAPTURE_SHIFT; }

// What a piece is worth in centipawns, by type code 0..7 (EMPTY, PAWN..KING, and 7, which no piece
// has): the one scale of the exchange test, delta pruning, material sums and the king-zone feature.
// The king counts 0, as it is never captured.
inline constexpr int piece_value[8] = {0, 100, 300, 300, 500, 900, 0, 0};

// XOR-ing a move with this reflects both its squares top to bottom.
constexpr uint32_t MIRROR_BLACK = 3640;

struct ColourInfo {
    Bitboard far_half;   // the half of the board nearest the enemy's back rank
    Bitboard far_centre; // files c-f on the colour's relative ranks 5 and 6
    int colour;
    int key_offset[7]; // first Zobrist index of each piece type of this colour
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
    // For each of knights, bishops, rooks, queens and the king (index type - KNIGHT), byte d counts
    // the pieces on squares at Manhattan distance d (0-6) from the nearest corner. The evaluation
    // reads these counts; makeMove keeps them up to date.
    uint64_t ring_counts[5];
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

// Where each kind of key term starts in Z (the Polyglot order): pieces from 0, then the four
// castling rights, the en-passant files a-h, and the side to move.
enum {
    Z_WHITE_KING_SIDE = 768,
    Z_WHITE_QUEEN_SIDE = 769,
    Z_BLACK_KING_SIDE = 770,
    Z_BLACK_QUEEN_SIDE = 771,
    Z_EN_PASSANT = 772,
    Z_WHITE_TO_MOVE = 780,
};

void initColours();
void resetStack();
void takeBack();
uint64_t computeKey();
uint64_t castlingKey(Bitboard castling);
// The home squares of the kings and rooks, on which castling rights are kept.
namespace castling_squares {
constexpr Bitboard A1 = 1ULL << 0, E1 = 1ULL << 4, H1 = 1ULL << 7, A8 = 1ULL << 56, E8 = 1ULL << 60, H8 = 1ULL << 63;
}
// Whether some castling is still allowed: a king's square together with one of its rook squares.
inline bool canCastle(Bitboard castling) {
    using namespace castling_squares;
    return ((castling & E1) && (castling & (A1 | H1))) || ((castling & E8) && (castling & (A8 | H8)));
}
void computePawnStructure();
void computeRingCounts();

// One in the byte of a square's corner ring: a piece on the square adds this to its ring counts.
inline constexpr std::array<uint64_t, 64> ring_unit = [] {
    std::array<uint64_t, 64> units{};
    for (int s = 0; s < 64; s++) {
        int f = s & 7, r = s >> 3;
        units[s] = uint64_t(1) << (8 * ((f < 7 - f ? f : 7 - f) + (r < 7 - r ? r : 7 - r)));
    }
    return units;
}();

// The pawn_ending flag of a position: 1 when either side has nothing but its king and pawns, where
// zugzwang is common and the searches prune nothing on the static score.
inline int pawnEnding(const Ply* ply) {
    const Side& b = ply->black;
    const Side& w = ply->white;
    return b.pieces[0] == (b.pieces[PAWN] | b.pieces[KING]) || w.pieces[0] == (w.pieces[PAWN] | w.pieces[KING]);
}

inline int popcount(Bitboard b) { return __builtin_popcountll(b); }
inline int lsb(Bitboard b) { return __builtin_ctzll(b); }
inline Bitboard bit(int square) { return Bitboard(1) << square; }
inline int fileOf(int square) { return square & 7; }
inline int rankOf(int square) { return square >> 3; }

// Visits the squares of a bitboard from the lowest upwards.
#define FOR_EACH_SQUARE(square, set)                                                \
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
