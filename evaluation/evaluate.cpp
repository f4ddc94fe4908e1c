// The static evaluation: features of the position scored by the linear model of its piece count.
#include "evaluation.h"
#include "endgame.h"
#include "features.h"
#include "model.h"
#include "../engine/board/assertion.h"

namespace {
// The steps before the model's sum, shared by evaluate and evaluationRoute.
[[gnu::always_inline]] inline EvaluationRoute route(Ply* ply, int men, int* score, float* class_term) {
    if (men <= 3) {
        // Bare kings are a draw; three men have no weight vector and are settled by rule.
        *score = 0;
        if (men == 2) return EvaluationRoute::BARE_KINGS;
        probeEndgame(ply, score);
        return EvaluationRoute::THREE_MEN;
    }
    const Side *player = ply->player, *opponent = ply->opponent;
    if (bareKingStalemated(player, opponent)) {
        *score = 0;
        return EvaluationRoute::STALEMATED_BARE_KING;
    }

    computeFeatures(player, opponent);
    int n = men <= MAX_MODEL_MEN ? weight_count[men - MIN_MODEL_MEN] - 1 : -1;
    VIREO_ASSERT(n == _features_[MAX_FEATURES - 1]);

    *class_term = men <= 6 ? materialClassTerm(player, opponent, men) : 0.0f;
    return EvaluationRoute::MODEL;
}
} // namespace

EvaluationRoute evaluationRoute(Ply* ply, int* score, float* class_term) {
    *class_term = 0.0f;
    return route(ply, popcount(ply->occupancy), score, class_term);
}

int evaluate(Ply* ply) {
    int men = popcount(ply->occupancy), score;
    float class_term;
    if (route(ply, men, &score, &class_term) != EvaluationRoute::MODEL) return score;
    return modelScore(_features_, men, class_term);
}
