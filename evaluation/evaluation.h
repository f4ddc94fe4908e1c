// Static evaluation, endgame knowledge and the training tools.
#pragma once
#include "../engine/board/board.h"

// Score of the position in centipawns from the side to move's view, within -29936..29936.
// Needs current attack information (computeAttacks). Bare kings and a stalemated bare king
// score 0; three men, which have no weight vector, get the endgame knowledge's score.
int evaluate(Ply* ply);

// 1 with the score written when the position's result is known (two or three men, or a
// tablebase position under exact conditions), else 0 with the score untouched. Does not need
// the attack information.
int probeEndgame(Ply* ply, int* score);

// (Re)loads the Syzygy tables of a directory and reports the result; "<empty>" switches them off.
void initSyzygy(const char* path);
// Releases the tables when the engine quits; no initSyzygy may follow.
void freeSyzygy();

// Sets up the position of one "FEN;score in pawns" line as curr_ply and reads its reference score
// in centipawns. False when the tools skip the line: a rejected FEN, the side to move in check,
// no ";" or no number after it, or a score that does not fit in 16 bits (a stalemate scores 0).
bool readLabelledPosition(const char* line, int* stock_eval);

// "-analyse=FILE" and "-score=FILE"; the result is the process's exit status.
int analyseTool(const char* file_name);
int scoreTool(const char* file_name);
