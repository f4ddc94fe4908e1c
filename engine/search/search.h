// Search entry points used by the command loop.
#pragma once

void resetSearch();
void newGame();
