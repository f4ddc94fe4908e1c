// The search driver: game-over answers, the tablebase answer, iterative deepening with aspiration.
#pragma once

// Searches curr_ply with the limits in `search`, prints the info lines and "bestmove".
void think();
