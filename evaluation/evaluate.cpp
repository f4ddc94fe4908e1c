// The static evaluation: features of the position scored by the linear model of its piece count.
#include "evaluation.h"
#include "endgame.h"
#include "features.h"
#include "model.h"
#include "../engine/board/assertion.h"

int evaluate(Ply* ply) {
    int men = popcount(ply->occupancy);
    if (men <= 3) {
        // Bare kings are a draw; three men have no weight vector and are settled by rule.
        int score = 0;
        if (men == 3) probeEndgame(ply, &score);
        return score;
    }
    const Side *player = ply->player, *opponent = ply->opponent;
    if (bareKingStalemated(player, opponent)) return 0;

    computeFeatures(player, opponent);
    int n = men <= MAX_MODEL_MEN ? weight_count[men - MIN_MODEL_MEN] - 1 : -1;
    VIREO_ASSERT(n == _features_[MAX_FEATURES - 1]);

    float class_term = men <= 6 ? materialClassTerm(player, opponent, men) : 0.0f;
    return modelScore(_features_, men, class_term);
}
