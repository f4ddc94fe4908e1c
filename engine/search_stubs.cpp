// Placeholders until the search and the transposition table land.
#include <cstdio>
#include "search.h"
#include "../transposition/tt.h"

void resetSearch() {}
void newGame() {}
void goCommand(const char*) { printf("bestmove 0000\n"); }
void benchCommand() {}
void debugCommand() {}
void initReductions() {}
void initCentrality() {}
void createTT(int) {}
void freeTT() {}
void clearTT() {}
TTEntry* ttBucket(uint64_t) { return nullptr; }
