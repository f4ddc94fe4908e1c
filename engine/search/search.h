// The search. This chief header holds the resets the front end calls between searches and games;
// beside it are record (limits, score text, draw rule, output lines), ordering (comparators,
// history, the quiescence picker), quiescence, alphabeta, think (the iterative-deepening driver),
// rootprobe (the tablebase move at the root), prefetch (fetching table buckets ahead), and clock
// and input (what the search polls to know when to stop). It includes only the board, the
// evaluation and the transposition table.
#pragma once

void resetSearch();
void newGame();
