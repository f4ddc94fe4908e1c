// Positions and moves to and from text: FEN, UCI move words, verbose moves and the board diagram.
#pragma once
#include <string>
#include "board.h"

extern const char* const START_FEN;

// Sets plies[0] to the position of a FEN text (4 or 6 fields, extra words ignored).
// On a rejected text, returns false with the reason and leaves the ply stack exactly as it was.
bool parseFen(const char* text, std::string* reason = nullptr);

// Makes every move of a text of UCI move words. Each word is checked against the legal moves
// of the position it is played in; on the first bad word, returns false with the reason and
// takes back the moves made so far.
bool playMoves(const char* text, std::string* reason = nullptr);

// Sets up a FEN and plays moves on it as one step: on failure the previous position is kept.
bool setPosition(const char* fen, const char* moves, std::string* reason);

void printUciMove(Move move);
int printMove(Move move);
void printBoard();
std::string uciMoveText(Move move);
std::string fenText();
