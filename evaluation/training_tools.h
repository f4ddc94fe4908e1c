// The command-line tools for fitting the evaluation, and the reading of their input lines that the
// fitting program shares.
#pragma once

// Sets up the position of one "FEN;score in pawns" line as curr_ply and reads its reference score
// in centipawns. False when the tools skip the line: a rejected FEN, the side to move in check,
// no ";" or no number after it, or a score that does not fit in 16 bits (a stalemate scores 0).
bool readLabelledPosition(const char* line, int* stock_eval);

// "-analyse=FILE" and "-score=FILE"; the result is the process's exit status.
int analyseTool(const char* file_name);
int scoreTool(const char* file_name);
