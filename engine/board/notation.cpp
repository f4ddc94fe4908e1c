// Writing positions and moves: UCI coordinates, the verbose notation and the board diagram.
#include <cstdio>
#include <string>
#include "notation.h"

std::string uciMoveText(Move move) {
    std::string text{char('a' + fileOf(moveFrom(move))), char('1' + rankOf(moveFrom(move))),
                     char('a' + fileOf(moveTo(move))), char('1' + rankOf(moveTo(move)))};
    if (movePromotion(move)) text += "??nbrq?"[movePromotion(move)];
    return text;
}

void printUciMove(Move move) { fputs(uciMoveText(move).c_str(), stdout); }

int printMove(Move move) {
    if (!move) return printf("null");
    std::string text;
    if (movePiece(move) != PAWN) text += "?PNBRQK"[movePiece(move)];
    text += {char('a' + fileOf(moveFrom(move))), char('1' + rankOf(moveFrom(move)))};
    if (moveCaptured(move)) {
        text += 'x';
        if (moveCaptured(move) != PAWN) text += "?PNBRQK"[moveCaptured(move)];
    }
    text += {char('a' + fileOf(moveTo(move))), char('1' + rankOf(moveTo(move)))};
    if (movePromotion(move)) text += {'=', "??NBRQ?"[movePromotion(move)]};
    if (move & CHECK) text += '+';
    if (move & DISCOVERED_CHECK) text += '!';
    if (move & HASH_MOVE) text += 'H';
    return printf("%s", text.c_str());
}

std::string fenText() {
    const Ply* ply = curr_ply;
    std::string text;
    for (int rank = 7; rank >= 0; rank--) {
        int empty = 0;
        for (int file = 0; file < 8; file++) {
            int square = 8 * rank + file;
            int type = pieceTypeOn(ply, square);
            if (!type) {
                empty++;
                continue;
            }
            if (empty) text += char('0' + empty), empty = 0;
            text += ((ply->white.pieces[0] & bit(square)) ? "?PNBRQK" : "?pnbrqk")[type];
        }
        if (empty) text += char('0' + empty);
        if (rank) text += '/';
    }
    text += whiteToMove(ply) ? " w " : " b ";
    Bitboard c = ply->castling;
    std::string rights;
    if ((c & bit(4)) && (c & bit(7))) rights += 'K';
    if ((c & bit(4)) && (c & bit(0))) rights += 'Q';
    if ((c & bit(60)) && (c & bit(63))) rights += 'k';
    if ((c & bit(60)) && (c & bit(56))) rights += 'q';
    text += rights.empty() ? "-" : rights;
    text += ' ';
    if (ply->en_passant) {
        int e = lsb(ply->en_passant);
        text += {char('a' + fileOf(e)), char('1' + rankOf(e))};
    } else {
        text += '-';
    }
    text += ' ' + std::to_string(ply->halfmove) + ' ' + std::to_string(ply_index / 2 + 1);
    return text;
}

// The diagram uses code-page-437 shading and box bytes.
void printBoard() {
    const Ply* ply = curr_ply;
    printf("\n");
    if (ply_index) {
        printf("after moves:\n");
        for (int k = 0; k < ply_index; k++) {
            if (k % 2 == 0) printf("%4i. ", k / 2 + 1);
            for (int n = printMove(plies[k].move); n < 10; n++) putchar(' ');
            if (k % 6 == 5) printf("\n");
        }
        printf("\n\n");
    }
    bool white = whiteToMove(ply);
    for (int rank = 7; rank >= 0; rank--) {
        printf(" %i %c", rank + 1, 0xB3);
        for (int file = 0; file < 8; file++) {
            int square = 8 * rank + file;
            char background = (file + rank) % 2 ? char(0xB0) : ' ';
            int type = pieceTypeOn(ply, square);
            char piece = !type ? background : ((ply->white.pieces[0] & bit(square)) ? ".PNBRQK" : ".pnbrqk")[type];
            printf("%c%c%c", background, piece, background);
        }
        if ((rank == 7 && !white) || (rank == 0 && white)) {
            printf(" *");
            if (ply->player->attacks->checkers) printf(" (check !)");
        }
        printf("\n");
    }
    printf("   %c", 0xC0);
    for (int i = 0; i < 24; i++) putchar(0xC4);
    printf("\n     A  B  C  D  E  F  G  H\n\n");
    printf("key = 0x%08x%08x\n", unsigned(ply->key >> 32), unsigned(ply->key));
    printf("fen = %s\n", fenText().c_str());
}
