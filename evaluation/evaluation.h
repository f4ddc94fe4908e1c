// The static evaluation: the score of a position from the side to move's view. Beside it are
// features (the feature vector), model (the learned weights and material classes), endgame (what
// is known without search: bare kings, three men, the tablebases), syzygy (loading the tables),
// feature_rows and training_tools (the command-line tools for fitting the model).
#pragma once
#include "../engine/board/board.h"

// Score of the position in centipawns from the side to move's view, within -29936..29936.
// Needs current attack information (computeAttacks). Bare kings and a stalemated bare king
// score 0; three men, which have no weight vector, get the endgame knowledge's score.
int evaluate(Ply* ply);
