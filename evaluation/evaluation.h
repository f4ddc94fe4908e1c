// The static evaluation: the score of a position from the side to move's view. Beside it are
// features (the feature vector), model (the learned weights and material classes), endgame (what
// is known without search: bare kings, three men, the tablebases), syzygy (loading the tables),
// feature_rows and training_tools (the command-line tools for fitting the model) and explanation
// (the score broken into named terms, for people).
#pragma once
#include "../engine/board/board.h"

// Score of the position in centipawns from the side to move's view, within -29936..29936.
// Needs current attack information (computeAttacks). Bare kings and a stalemated bare king
// score 0; three men, which have no weight vector, get the endgame knowledge's score.
int evaluate(Ply* ply);

// How evaluate scores a position: by a rule, without the model, or by the model.
enum class EvaluationRoute { BARE_KINGS, THREE_MEN, STALEMATED_BARE_KING, MODEL };

// The steps of evaluate before the model's sum, for explaining a score. A position settled by a
// rule gets its score in *score; for the model, the features are left in _features_ and the
// material-class term (0 outside 4 to 6 men) in *class_term.
EvaluationRoute evaluationRoute(Ply* ply, int* score, float* class_term);
