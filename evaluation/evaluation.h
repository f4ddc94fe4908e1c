// Static evaluation, endgame knowledge and the training tools.
#pragma once
#include "../engine/board.h"

int evaluate(Ply* ply);
int probeEndgame(Ply* ply, int* score);
void initSyzygy(const char* path);
void freeSyzygy();
int analyseTool(const char* file_name);
int scoreTool(const char* file_name);
