// The search. This chief header holds the resets the front end calls between searches and games;
// beside it are record (limits, progress and result of the search in progress), score (the score
// scale and its text), draw (the draw by rule), time_check (the clock and input test), output (the
// principal variation and the root's info line), ordering (comparators, history, the quiescence
// picker), quiescence, alphabeta, think (the iterative-deepening driver), rootprobe (the
// tablebase move at the root), prefetch (fetching table buckets ahead), and input (the buffer
// the search polls to know when to stop). It includes only the board, the evaluation and the
// transposition table.
#pragma once

void resetSearch();
void newGame();
