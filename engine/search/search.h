// Search entry points used by the command loop.
#pragma once

void resetSearch();
void newGame();
void goCommand(const char* line);
void benchCommand();
void debugCommand();
void initReductions();
void initCentrality();
