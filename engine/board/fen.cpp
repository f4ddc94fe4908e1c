// Reading positions: FEN texts and the UCI move words played on them. A text is checked as a whole:
// when any part is rejected the ply stack is put back exactly as it was.
#include <cstdio>
#include <cstring>
#include <string>
#include "notation.h"
#include "movegen.h"
#include "makemove.h"

const char* const START_FEN = "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1";

// The game history may not grow so far that fewer than 128 records stay free for the search.
constexpr int MAX_HISTORY_PLY = MAX_PLIES - 1 - 128;

struct FenFields {
    char placement[8192], side[8192], castling[8192], enpassant[8192], halfmove[8192], fullmove[8192];
};
FenFields fen;

namespace {
// The used part of the stack, saved before a command changes it. Records are copied back to the
// same addresses, so their internal pointers stay valid.
Ply saved_plies[MAX_PLIES];
int saved_index;

void saveStack() {
    saved_index = ply_index;
    memcpy(saved_plies, plies, sizeof(Ply) * (ply_index + 1));
}

void restoreStack() {
    memcpy(plies, saved_plies, sizeof(Ply) * (saved_index + 1));
    ply_index = saved_index;
    curr_ply = &plies[ply_index];
}

bool fail(std::string* reason, const std::string& text) {
    if (reason) *reason = text;
    return false;
}

bool placePieces(Ply* ply, const char* placement, std::string* reason) {
    if (!*placement) return fail(reason, "empty piece placement");
    int rank = 7, file = 0;
    for (const char* c = placement; *c; c++) {
        if (*c == '/') {
            if (file != 8) return fail(reason, "rank " + std::to_string(rank + 1) + " does not add up to 8 squares");
            if (--rank < 0) return fail(reason, "more than 8 ranks");
            file = 0;
        } else if (*c >= '1' && *c <= '8') {
            file += *c - '0';
            if (file > 8) return fail(reason, "rank " + std::to_string(rank + 1) + " does not add up to 8 squares");
        } else if (const char* p = strchr("pnbrqkPNBRQK", *c)) {
            if (file > 7) return fail(reason, "rank " + std::to_string(rank + 1) + " does not add up to 8 squares");
            int type = int(p - "pnbrqkPNBRQK") % 6 + 1;
            Side* side = p - "pnbrqkPNBRQK" < 6 ? &ply->black : &ply->white;
            int square = 8 * rank + file++;
            side->pieces[type] |= bit(square);
            if (type == KING) side->king = square;
        } else {
            return fail(reason, std::string("bad character '") + *c + "' in piece placement");
        }
    }
    if (file != 8) return fail(reason, "rank " + std::to_string(rank + 1) + " does not add up to 8 squares");
    if (rank != 0) return fail(reason, "piece placement does not have 8 ranks");
    return true;
}

bool checkMaterial(const Ply* ply, std::string* reason) {
    for (const Side* side : {&ply->black, &ply->white}) {
        const char* name = side == &ply->white ? "white" : "black";
        if (popcount(side->pieces[KING]) != 1)
            return fail(reason, std::string(name) + " does not have exactly one king");
        if (popcount(side->pieces[0]) > 16) return fail(reason, std::string("more than 16 ") + name + " men");
        if (side->pieces[PAWN] & 0xff000000000000ffULL) return fail(reason, "pawn on the first or last rank");
    }
    if (popcount(ply->occupancy) > 32) return fail(reason, "more than 32 men");
    return true;
}

// Castling rights need the king and the rook on their home squares; others are ignored.
Bitboard usableCastling(const Ply* ply, const char* text) {
    Bitboard rights = 0;
    for (const char* c = text; *c; c++) {
        const Side* side = (*c == 'K' || *c == 'Q') ? &ply->white : &ply->black;
        int king = side == &ply->white ? 4 : 60;
        int rook = (*c == 'K' || *c == 'k') ? king + 3 : king - 4;
        if (!strchr("KQkq", *c) || !(side->pieces[KING] & bit(king)) || !(side->pieces[ROOK] & bit(rook))) continue;
        rights |= bit(king) | bit(rook);
    }
    return rights;
}

// An en-passant square counts only right after a double step: the pawn that made it stands in
// front of it and the square it came from is empty. Otherwise it is ignored.
Bitboard usableEnPassant(const Ply* ply, int square) {
    bool white = whiteToMove(ply);
    if (rankOf(square) != (white ? 5 : 2)) return 0;
    int pawn = white ? square - 8 : square + 8, origin = white ? square + 8 : square - 8;
    if (!(ply->opponent->pieces[PAWN] & bit(pawn)) || (ply->occupancy & (bit(square) | bit(origin)))) return 0;
    return bit(square);
}

bool parseFenUnchecked(const char* text, std::string* reason) {
    static char buffer[8192];
    snprintf(buffer, sizeof buffer, "%s", text);
    char* fields[6] = {fen.placement, fen.side, fen.castling, fen.enpassant, fen.halfmove, fen.fullmove};
    int section = 0;
    for (char* word = strtok(buffer, " "); word && section < 6; word = strtok(nullptr, " "))
        snprintf(fields[section++], 8192, "%s", word);
    if (section == 4) {
        strcpy(fen.halfmove, "0");
        strcpy(fen.fullmove, "1");
    } else if (section != 6) {
        return fail(reason, "a FEN needs 4 or 6 fields");
    }

    resetStack();
    Ply* ply = curr_ply;
    if (!placePieces(ply, fen.placement, reason)) return false;
    for (Side* side : {&ply->black, &ply->white})
        for (int t = PAWN; t <= KING; t++) side->pieces[0] |= side->pieces[t];
    ply->occupancy = ply->black.pieces[0] | ply->white.pieces[0];
    if (!checkMaterial(ply, reason)) return false;
    ply->pawn_ending = pawnEnding(ply);

    bool white = fen.side[0] == 'w';
    ply->player = white ? &ply->white : &ply->black;
    ply->opponent = white ? &ply->black : &ply->white;
    ply->castling = usableCastling(ply, fen.castling);

    if (strlen(fen.enpassant) == 2) {
        const char* f = strchr("abcdefgh", fen.enpassant[0]);
        const char* r = strchr("12345678", fen.enpassant[1]);
        if (!f || !*f || !r || !*r || (r - "12345678" != 2 && r - "12345678" != 5))
            return fail(reason, std::string("bad en passant square '") + fen.enpassant + "'");
        ply->en_passant = usableEnPassant(ply, int(f - "abcdefgh") + 8 * int(r - "12345678"));
    }

    int draw = -1;
    if (sscanf(fen.halfmove, "%i", &draw) != 1 || draw < 0)
        return fail(reason, std::string("bad halfmove clock '") + fen.halfmove + "'");
    ply->halfmove = draw;
    ply->mirror = white ? 0 : MIRROR_BLACK;
    ply->key = computeKey();
    computePawnStructure();
    computeRingCounts();
    if (isKingAttacked(ply->opponent, ply->player)) return fail(reason, "the side not to move is in check");
    return true;
}

// Finds the legal move that a UCI word names; 0 when the word is malformed or not legal here.
Move legalMoveFor(const char* word) {
    size_t length = strlen(word);
    if (length < 4) return 0;
    const char* files = "abcdefgh";
    const char* ranks = "12345678";
    const char *ff = strchr(files, word[0]), *rf = strchr(ranks, word[1]);
    const char *ft = strchr(files, word[2]), *rt = strchr(ranks, word[3]);
    if (!ff || !*ff || !rf || !*rf || !ft || !*ft || !rt || !*rt) return 0;
    int from = int(ff - files) + 8 * int(rf - ranks), to = int(ft - files) + 8 * int(rt - ranks);
    int promotion = 0;
    if (length == 5) {
        const char* p = strchr("nbrq", word[4]);
        if (!p || !*p) return 0;
        promotion = KNIGHT + int(p - "nbrq");
    }
    computeAttacks();
    generateMoves(GEN_ALL);
    for (int i = 0; i < curr_ply->generated; i++) {
        Move m = curr_ply->moves[i];
        if (moveFrom(m) == from && moveTo(m) == to && movePromotion(m) == promotion)
            return m & ~(ADVANCED_PAWN | ESCAPE | CHECK | DISCOVERED_CHECK | HASH_MOVE);
    }
    return 0;
}

bool playMovesUnchecked(const char* text, std::string* reason) {
    static char buffer[8192];
    snprintf(buffer, sizeof buffer, "%s", text);
    for (char* word = strtok(buffer, " "); word; word = strtok(nullptr, " ")) {
        if (ply_index >= MAX_HISTORY_PLY) return fail(reason, "too many moves");
        Move m = legalMoveFor(word);
        if (!m) return fail(reason, std::string("illegal move '") + word + "'");
        makeMove(m);
    }
    return true;
}
} // namespace

bool parseFen(const char* text, std::string* reason) { return setPosition(text, nullptr, reason); }

bool playMoves(const char* text, std::string* reason) {
    saveStack();
    if (playMovesUnchecked(text, reason)) return true;
    restoreStack();
    return false;
}

bool setPosition(const char* fen_text, const char* moves, std::string* reason) {
    saveStack();
    if (parseFenUnchecked(fen_text, reason) && (!moves || playMovesUnchecked(moves, reason))) return true;
    restoreStack();
    return false;
}
