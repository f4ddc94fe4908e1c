// Statistics of a match: Elo estimates on the logistic curve, and the sequential probability ratio
// test on game pairs (--sprt).
//
// The test decides between H0, "engine 1 is elo0 stronger than engine 2", and H1, "it is elo1
// stronger" (logistic Elo), with error rates alpha = beta = 0.05. It counts game pairs rather than
// games (the pentanomial model): both games of a pair start from the same opening with the colours
// swapped, so their results are not independent (an opening that favours one colour tends to give one
// win each way). Pairs measure that and need fewer games than the trinomial count of single games,
// which would take the two results of an opening for two independent samples.
#pragma once

#include <array>
#include <string>

namespace vireo_match {

// Elo difference that an expected score s (0 < s < 1) stands for on the logistic curve.
double eloFromScore(double s);

// Expected score on the logistic curve for an Elo difference.
double scoreFromElo(double elo);

struct EloEstimate {
    double score = 0.5; // fraction of the points
    double elo = 0;     // NaN when the score is 0 or 1
    double margin = 0;  // half width of the 95% interval, NaN when it reaches 0 or 1
    double los = 0.5;   // likelihood of superiority from wins and losses
};

// From single games, as counted by engine 1.
EloEstimate estimateElo(int wins, int draws, int losses);

// "+12.3 +/- 20.1", "+12.3 +/- inf" or "+inf" / "-inf".
std::string formatElo(const EloEstimate& e);

constexpr double SPRT_ALPHA = 0.05;
constexpr double SPRT_BETA = 0.05;

// Pairs by engine 1's points in them: 0, 1/2, 1, 3/2, 2.
using PairCounts = std::array<int, 5>;

enum class SprtDecision { None, H0, H1 };

const char* decisionName(SprtDecision d);

// The log-likelihood ratio at which the test accepts H0 (below) or H1 (above).
double sprtLowerBound();
double sprtUpperBound();

// Log-likelihood ratio of H1 against H0 after the counted pairs; 0 before the first pair.
double sprtLlr(const PairCounts& counts, double elo0, double elo1);

SprtDecision sprtDecision(double llr);

// Elo and its 95% margin from the pairs: the error bar that goes with the test.
EloEstimate pairElo(const PairCounts& counts);

// "elo0,elo1": two finite Elo differences, the first below the second, neither beyond 1000.
bool parseSprt(const std::string& text, double& elo0, double& elo1);

} // namespace vireo_match
