// Placeholders until the evaluation lands.
#include <cstdio>
#include "evaluation.h"

int evaluate(Ply*) { return 0; }
int probeEndgame(Ply*, int*) { return 0; }
void initSyzygy(const char*) { printf("info debug Initialisation of Syzygy : failure\n"); }
void freeSyzygy() {}
int analyseTool(const char*) { return 0; }
int scoreTool(const char*) { return 0; }
