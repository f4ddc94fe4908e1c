// The text of a score.
#include <cstdio>
#include "score.h"

std::string scoreText(int score) {
    char text[32];
    if (isMateScore(score)) snprintf(text, sizeof text, "score mate %i ", mateInMoves(score));
    else snprintf(text, sizeof text, "score cp %i ", score);
    return text;
}
