// Legal move generation. Pins, checks and king safety are settled from the attack records, so no
// pseudo-legal move is ever produced; only en passant is tried on the stack. The flag bits that
// move ordering reads are set here, while the attack information is at hand.
#include "movegen.h"
#include "attacks.h"
#include "makemove.h"
#include "../../sliders/sliders.h"

namespace {
constexpr Bitboard ALL_SQUARES = ~Bitboard(0);

// Bishops, rooks and queens attack along lines; their attack sets are also kept per square. The
// unions are gathered in locals: stores into attacks_from could otherwise alias them.
void pieceAttacks(Ply* ply, Side* side, Bitboard pawn_attacks_set) {
    Bitboard occ = ply->occupancy;
    Bitboard knights = 0, bishops = 0, rooks = 0, queens = 0;
    FOR_EACH_SQUARE(s, side->pieces[KNIGHT]) knights |= knight_attacks[s];
    FOR_EACH_SQUARE(s, side->pieces[BISHOP]) bishops |= ply->attacks_from[s] = getBishopMoves(occ, s);
    FOR_EACH_SQUARE(s, side->pieces[ROOK]) rooks |= ply->attacks_from[s] = getRookMoves(occ, s);
    FOR_EACH_SQUARE(s, side->pieces[QUEEN]) queens |= ply->attacks_from[s] = getQueenMoves(occ, s);
    Bitboard king = king_attacks[side->king];
    Bitboard* attacked = side->attacks->attacked;
    attacked[PAWN] = pawn_attacks_set;
    attacked[KNIGHT] = knights;
    attacked[BISHOP] = bishops;
    attacked[ROOK] = rooks;
    attacked[QUEEN] = queens;
    attacked[KING] = king;
    attacked[0] = pawn_attacks_set | knights | bishops | rooks | queens | king;
}

// Squares from which each enemy piece type would attack this side's king; empty for types the
// enemy does not have, which saves slider lookups in simplified positions.
void checkSquares(Ply* ply, Side* side, const Side* enemy) {
    Bitboard* cs = side->attacks->check_squares;
    int k = side->king;
    const Bitboard* e = enemy->pieces;
    cs[PAWN] = e[PAWN] ? pawn_attacks[side->info->colour][k] : 0;
    cs[KNIGHT] = e[KNIGHT] ? knight_attacks[k] : 0;
    cs[BISHOP] = (e[BISHOP] | e[QUEEN]) ? getBishopMoves(ply->occupancy, k) : 0;
    cs[ROOK] = (e[ROOK] | e[QUEEN]) ? getRookMoves(ply->occupancy, k) : 0;
    cs[QUEEN] = cs[BISHOP] | cs[ROOK];
    cs[KING] = 0;
    cs[0] = cs[PAWN] | cs[KNIGHT] | cs[QUEEN];
}

// Squares between enemy sliders and this side's king: a lone piece there is pinned (or, seen from
// the slider's side, a discoverer); for a checking slider, the empty squares between.
Bitboard blockers(const Ply* ply, const Side* side, const Side* enemy) {
    const Bitboard* cs = side->attacks->check_squares;
    int k = side->king;
    Bitboard result = 0;
    FOR_EACH_SQUARE(s, (enemy->pieces[ROOK] | enemy->pieces[QUEEN]) & rook_lines[k])
        result |= ply->attacks_from[s] & cs[ROOK] & rook_lines[s];
    FOR_EACH_SQUARE(s, (enemy->pieces[BISHOP] | enemy->pieces[QUEEN]) & bishop_lines[k])
        result |= ply->attacks_from[s] & cs[BISHOP] & bishop_lines[s];
    return result;
}

Bitboard checkersOf(const Side* side, const Side* enemy) {
    const Bitboard* cs = side->attacks->check_squares;
    const Bitboard* e = enemy->pieces;
    return (e[PAWN] & cs[PAWN]) | (e[KNIGHT] & cs[KNIGHT]) | (e[BISHOP] & cs[BISHOP]) | (e[ROOK] & cs[ROOK]) |
           (e[QUEEN] & cs[QUEEN]);
}
} // namespace

void computeAttacks() {
    Ply* ply = curr_ply;
    Side* black = &ply->black;
    Side* white = &ply->white;
    Bitboard wp = white->pieces[PAWN], bp = black->pieces[PAWN];
    pieceAttacks(ply, white, ((wp << 7) & ~FILE_H) | ((wp << 9) & ~FILE_A));
    pieceAttacks(ply, black, ((bp >> 9) & ~FILE_H) | ((bp >> 7) & ~FILE_A));
    checkSquares(ply, black, white);
    checkSquares(ply, white, black);
    Bitboard black_blockers = blockers(ply, black, white);
    Bitboard white_blockers = blockers(ply, white, black);
    for (Side* side : {black, white}) {
        bool is_black = side == black;
        Side* enemy = is_black ? white : black;
        AttackInfo* a = side->attacks;
        Bitboard own_blockers = is_black ? black_blockers : white_blockers;
        Bitboard enemy_blockers = is_black ? white_blockers : black_blockers;
        a->checkers = checkersOf(side, enemy);
        a->pinned = side->pieces[0] & own_blockers;
        a->discoverers = side->pieces[0] & enemy_blockers;
        a->evasions = (a->checkers && !(a->checkers & (a->checkers - 1)))
                          ? (own_blockers & ~ply->occupancy) | a->checkers
                          : ALL_SQUARES;
    }
}

int isKingAttacked(Side* defender, Side* attacker) {
    int k = defender->king;
    Bitboard occ = curr_ply->occupancy;
    const Bitboard* a = attacker->pieces;
    if (a[PAWN] & pawn_attacks[defender->info->colour][k]) return 1;
    if (a[KNIGHT] & knight_attacks[k]) return 1;
    if (getBishopMoves(occ, k) & a[BISHOP]) return 1;
    if (getRookMoves(occ, k) & a[ROOK]) return 1;
    if (getQueenMoves(occ, k) & a[QUEEN]) return 1;
    if (king_attacks[k] & a[KING]) return 1;
    return 0;
}

namespace {
// The mode is a template argument so that the full generation, which perft and the main search
// use, carries no test of the tactical filter in its inner loop. GEN_COUNT counts what GEN_ALL
// would list, with the same legality tests but no move words and no flags.
enum { GEN_COUNT = -1 };

template <int mode>
struct Generator {
    Ply* ply;
    Side* P;
    Side* O;
    AttackInfo* A;
    AttackInfo* B;
    int k, kO;
    Move* list;
    int n;

    // The type of the enemy piece on a square (never a king: it cannot be captured).
    int capturedOn(int d) const {
        Bitboard b = bit(d);
        for (int t = PAWN; t < KING; t++)
            if (O->pieces[t] & b) return t;
        return EMPTY;
    }

    // Ordinary moves of one piece: legality of a pinned piece, then the ordering flags. What depends
    // only on the origin square is settled once for all destinations.
    void add(int from, Bitboard destinations, int type) {
        Bitboard from_bit = bit(from);
        if constexpr (mode == GEN_COUNT) {
            n += legalCount(from, destinations);
            return;
        }
        Move advanced = type == PAWN && ((P->info->far_half | P->passed) & from_bit) ? Move(ADVANCED_PAWN) : 0;
        if (A->pinned & from_bit) destinations = alongLine(destinations, from, k);
        if (!destinations) return;
        // The flags, each as the set of destinations that earn it.
        Bitboard captures = destinations & O->pieces[0];
        Bitboard checks = destinations & B->check_squares[type];
        bool escaping = (B->attacked[0] & from_bit) && !(A->attacked[0] & from_bit);
        Bitboard escapes = escaping ? destinations & ~B->attacked[0] : 0;
        Bitboard discovered = (A->discoverers & from_bit) ? destinations & ~alongLine(destinations, from, kO) : 0;
        Bitboard flagged = captures | checks | escapes | discovered;
        auto flags = [&](int d) {
            return capturedField(capturedOn(d)) | Move((checks >> d) & 1) * CHECK | Move((escapes >> d) & 1) * ESCAPE |
                   Move((discovered >> d) & 1) * DISCOVERED_CHECK;
        };
        if constexpr (mode == GEN_CAPTURES || mode == GEN_RECAPTURES) {
            // Every move captures: one pass.
            FOR_EACH_SQUARE(d, destinations) list[n++] = (makeMoveWord(from, d, type) | advanced) | flags(d);
            return;
        }
        if constexpr (mode == GEN_TACTICAL)
            if (!advanced) destinations = flagged;
        // Most moves carry no flag of their own: every word is written with the flags common to the
        // piece, and the destinations with flags are then found again in the list, where the
        // destinations stand in square order, and marked.
        Move* first = list + n;
        FOR_EACH_SQUARE(d, destinations) list[n++] = makeMoveWord(from, d, type) | advanced;
        FOR_EACH_SQUARE(d, flagged) first[popcount(destinations & (bit(d) - 1))] |= flags(d);
    }

    // The squares of a set that share a line with both `from` and `to`.
    static Bitboard alongLine(Bitboard squares, int from, int to) {
        Bitboard on_line = 0;
        FOR_EACH_SQUARE(d, squares)
            if (line_masks[d] & line_masks[from] & line_masks[to]) on_line |= bit(d);
        return on_line;
    }

    // The destinations a piece on `from` may move to: a pinned one only along the line of its king.
    int legalCount(int from, Bitboard destinations) const {
        if (!(A->pinned & bit(from))) return popcount(destinations);
        int count = 0;
        FOR_EACH_SQUARE(d, destinations) count += (line_masks[k] & line_masks[d] & line_masks[from]) != 0;
        return count;
    }

    void promotions(int from, Bitboard destinations) {
        if constexpr (mode == GEN_COUNT) {
            n += 4 * legalCount(from, destinations);
            return;
        }
        Bitboard occ_without = ply->occupancy & ~bit(from);
        Bitboard enemy_king = bit(O->king);
        FOR_EACH_SQUARE(d, destinations) {
            if ((A->pinned & bit(from)) && !(line_masks[k] & line_masks[d] & line_masks[from])) continue;
            int captured = capturedOn(d);
            Move discovered = 0;
            if ((A->discoverers & bit(from)) && !(line_masks[d] & line_masks[from] & line_masks[kO]))
                discovered = DISCOVERED_CHECK;
            const Bitboard reach[4] = {getQueenMoves(occ_without, d), getRookMoves(occ_without, d),
                                       getBishopMoves(occ_without, d), knight_attacks[d]};
            for (int i = 0; i < 4; i++) {
                Move m = makeMoveWord(from, d, PAWN, captured, QUEEN - i) | discovered;
                if (reach[i] & enemy_king) m |= CHECK;
                list[n++] = m;
            }
        }
    }

    // The one move whose legality the attack records cannot settle: try it on the stack.
    void enPassant() {
        int e = lsb(ply->en_passant);
        FOR_EACH_SQUARE(from, P->pieces[PAWN] & pawn_attacks[O->info->colour][e]) {
            Move m = makeMoveWord(from, e, PAWN, PAWN);
            makeMove(m);
            if constexpr (mode == GEN_COUNT) {
                n += !isKingAttacked(curr_ply->opponent, curr_ply->player);
                takeBack();
                continue;
            }
            bool illegal = isKingAttacked(curr_ply->opponent, curr_ply->player);
            bool check = isKingAttacked(curr_ply->player, curr_ply->opponent);
            takeBack();
            if (!illegal) list[n++] = check ? m | CHECK | DISCOVERED_CHECK : m;
        }
    }

    void king(Bitboard targets) {
        Bitboard forbidden = B->attacked[0];
        if (A->checkers) {
            Bitboard occ_without = ply->occupancy & ~bit(k);
            FOR_EACH_SQUARE(s, A->checkers & (O->pieces[ROOK] | O->pieces[QUEEN]))
                forbidden |= getRookMoves(occ_without, s);
            FOR_EACH_SQUARE(s, A->checkers & (O->pieces[BISHOP] | O->pieces[QUEEN]))
                forbidden |= getBishopMoves(occ_without, s);
        }
        add(k, king_attacks[k] & targets & ~forbidden, KING);
    }

    void castling() {
        Bitboard rights = ply->castling;
        Bitboard occ = ply->occupancy;
        Bitboard attacked = B->attacked[0];
        Bitboard occ_without = occ & ~bit(k);
        Bitboard enemy_king = bit(O->king);
        if ((rights & bit(k + 3)) && !(occ & (bit(k + 1) | bit(k + 2))) && !(attacked & (bit(k + 1) | bit(k + 2)))) {
            if constexpr (mode == GEN_COUNT) {
                n++;
            } else {
                Move m = makeMoveWord(k, k + 2, KING);
                if (getRookMoves(occ_without, k + 1) & enemy_king) m |= CHECK;
                list[n++] = m;
            }
        }
        if ((rights & bit(k - 4)) && !(occ & (bit(k - 1) | bit(k - 2) | bit(k - 3))) &&
            !(attacked & (bit(k - 1) | bit(k - 2)))) {
            if constexpr (mode == GEN_COUNT) {
                n++;
            } else {
                Move m = makeMoveWord(k, k - 2, KING);
                if (getRookMoves(occ_without, k - 1) & enemy_king) m |= CHECK;
                list[n++] = m;
            }
        }
    }

    // The moves of pawns that are neither pinned nor on their seventh rank, counted set-wise: the
    // pushes and the captures in each direction, each a set of destinations.
    int unpinnedPawnCount(Bitboard pawns, Bitboard allowed, bool white, Bitboard third) const {
        Bitboard occ = ply->occupancy, empty = ~occ, enemies = occ & ~P->pieces[0];
        Bitboard single, twice, left, right;
        if (white) {
            single = (pawns << 8) & empty;
            twice = ((single & third) << 8) & empty;
            left = (pawns << 7) & ~FILE_H & enemies;
            right = (pawns << 9) & ~FILE_A & enemies;
        } else {
            single = (pawns >> 8) & empty;
            twice = ((single & third) >> 8) & empty;
            left = (pawns >> 9) & ~FILE_H & enemies;
            right = (pawns >> 7) & ~FILE_A & enemies;
        }
        return popcount((single | twice) & allowed) + popcount(left & allowed) + popcount(right & allowed);
    }

    void run() {
        Bitboard targets;
        switch (mode) {
        case GEN_CAPTURES: targets = O->pieces[0]; break;
        case GEN_RECAPTURES: targets = ply_index ? bit(moveTo(plies[ply_index - 1].move)) : 0; break;
        default: targets = ~P->pieces[0];
        }
        if (A->checkers & (A->checkers - 1)) {
            king(targets);
            return;
        }
        bool white = P->info->colour == WHITE;
        Bitboard seventh = white ? 0x00ff000000000000ULL : 0x000000000000ff00ULL;
        int forward = white ? 8 : -8;
        Bitboard occ = ply->occupancy;
        Bitboard evasions = A->evasions;
        int c = P->info->colour;

        FOR_EACH_SQUARE(from, P->pieces[PAWN] & seventh) {
            Bitboard d = O->pieces[0] & pawn_attacks[c][from];
            if (!(occ & bit(from + forward))) d |= bit(from + forward);
            promotions(from, d & evasions);
        }
        if (ply->en_passant) enPassant();

        Bitboard third = white ? 0x0000000000ff0000ULL : 0x0000ff0000000000ULL;
        Bitboard pawns = P->pieces[PAWN] & ~seventh;
        if constexpr (mode == GEN_COUNT) {
            n += unpinnedPawnCount(pawns & ~A->pinned, targets & evasions, white, third);
            pawns &= A->pinned;
        }
        if constexpr (mode == GEN_CAPTURES || mode == GEN_RECAPTURES) {
            // Only captures count here: the pawns that attack a target, found from the targets with
            // the other colour's pawn steps.
            Bitboard t = targets & evasions;
            Bitboard capturers =
                white ? ((t >> 9) & ~FILE_H) | ((t >> 7) & ~FILE_A) : ((t << 7) & ~FILE_H) | ((t << 9) & ~FILE_A);
            pawns &= capturers;
        }
        FOR_EACH_SQUARE(from, pawns) {
            Bitboard d = occ & pawn_attacks[c][from];
            int push = from + forward;
            if (!(occ & bit(push))) {
                d |= bit(push);
                if ((bit(push) & third) && !(occ & bit(push + forward))) d |= bit(push + forward);
            }
            add(from, d & targets & evasions, PAWN);
        }
        FOR_EACH_SQUARE(from, P->pieces[KNIGHT]) add(from, knight_attacks[from] & targets & evasions, KNIGHT);
        for (int t = BISHOP; t <= QUEEN; t++)
            FOR_EACH_SQUARE(from, P->pieces[t]) add(from, ply->attacks_from[from] & targets & evasions, t);
        king(targets);
        if ((mode == GEN_ALL || mode == GEN_COUNT) && !A->checkers && (ply->castling & bit(k))) castling();
    }
};
} // namespace

namespace {
// Runs the generator of one mode on a ply; the words go to `out` (none in the counting mode).
template <int mode>
int runGenerator(Ply* ply, Move* out) {
    Generator<mode> g{ply,
                      ply->player,
                      ply->opponent,
                      ply->player->attacks,
                      ply->opponent->attacks,
                      ply->player->king,
                      ply->opponent->king,
                      out,
                      0};
    g.run();
    return g.n;
}

template <int mode>
void generate(Ply* ply) {
    ply->generated = runGenerator<mode>(ply, ply->moves);
}
} // namespace

void generateMoves(int mode) {
    switch (mode) {
    case GEN_TACTICAL: generate<GEN_TACTICAL>(curr_ply); break;
    case GEN_CAPTURES: generate<GEN_CAPTURES>(curr_ply); break;
    case GEN_RECAPTURES: generate<GEN_RECAPTURES>(curr_ply); break;
    default: generate<GEN_ALL>(curr_ply);
    }
}

int countMoves() { return runGenerator<GEN_COUNT>(curr_ply, nullptr); }
