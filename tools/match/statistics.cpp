#include "statistics.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace vireo_match {

double eloFromScore(double s) {
    return -400.0 * std::log10(1.0 / s - 1.0) + 0.0; // + 0.0 turns -0 into 0 for printing
}

double scoreFromElo(double elo) { return 1.0 / (1.0 + std::pow(10.0, -elo / 400.0)); }

EloEstimate estimateElo(int wins, int draws, int losses) {
    EloEstimate e;
    int n = wins + draws + losses;
    if (n == 0) return e;
    e.score = (wins + 0.5 * draws) / n;
    double s = e.score;
    e.elo = (s > 0 && s < 1) ? eloFromScore(s) : std::nan("");
    // Standard deviation of one game's score, then of the mean over n games.
    double variance = (wins * (1 - s) * (1 - s) + draws * (0.5 - s) * (0.5 - s) + losses * s * s) / n;
    double deviation = std::sqrt(variance / n);
    double low = s - 1.959963985 * deviation, high = s + 1.959963985 * deviation;
    e.margin = (low > 0 && high < 1) ? (eloFromScore(high) - eloFromScore(low)) / 2 : std::nan("");
    e.los = (wins + losses) > 0 ? 0.5 * (1 + std::erf((wins - losses) / std::sqrt(2.0 * (wins + losses)))) : 0.5;
    return e;
}

std::string formatElo(const EloEstimate& e) {
    char text[128];
    if (std::isnan(e.elo)) snprintf(text, sizeof text, "%s", e.score >= 1 ? "+inf" : "-inf");
    else if (std::isnan(e.margin)) snprintf(text, sizeof text, "%+.1f +/- inf", e.elo);
    else snprintf(text, sizeof text, "%+.1f +/- %.1f", e.elo, e.margin);
    return text;
}

// The likelihood ratio is the generalised SPRT's, as fishtest computes it: the observed frequencies of
// the five pair outcomes stand for the unknown distribution, and each hypothesis is represented by the
// distribution closest to them (maximum likelihood) whose mean score per game is s0 or s1, the scores
// that elo0 and elo1 stand for. The common shortcut LLR = N (s1 - s0) (2 s - s0 - s1) / (2 var) agrees
// with it when the score is near s0 and s1, but not on a short run of one-sided results: after a
// single pair won 2-0 its variance is about zero and it would accept H1 at once.

namespace {

struct PairMoments {
    double pairs = 0;    // number of complete pairs
    double mean = 0.5;   // score per game
    double variance = 0; // of one pair's score per game
};

PairMoments pairMoments(const PairCounts& counts) {
    PairMoments m;
    double sum = 0, squares = 0;
    for (int i = 0; i < 5; i++) {
        double score = i / 4.0;
        m.pairs += counts[size_t(i)];
        sum += counts[size_t(i)] * score;
        squares += counts[size_t(i)] * score * score;
    }
    if (m.pairs == 0) return m;
    m.mean = sum / m.pairs;
    m.variance = std::max(0.0, squares / m.pairs - m.mean * m.mean);
    return m;
}

// How far (Kullback-Leibler divergence) the frequencies p of the scores a_i = i/4 are from the nearest
// distribution q with mean s. That q is q_i = p_i / (1 + lambda (a_i - s)), where lambda solves
// sum p_i (a_i - s) / (1 + lambda (a_i - s)) = 0; the left side falls from +inf to -inf as lambda
// runs over (-1 / (1 - s), 1 / s), where every 1 + lambda (a_i - s) stays positive, so bisection finds
// it. The divergence is then sum p_i log(1 + lambda (a_i - s)).
double divergenceFromMean(const double p[5], double s) {
    double low = -1 / (1 - s), high = 1 / s;
    for (int step = 0; step < 200; step++) {
        double lambda = (low + high) / 2;
        double slope = 0;
        for (int i = 0; i < 5; i++) slope += p[i] * (i / 4.0 - s) / (1 + lambda * (i / 4.0 - s));
        (slope > 0 ? low : high) = lambda;
    }
    double lambda = (low + high) / 2, divergence = 0;
    for (int i = 0; i < 5; i++) divergence += p[i] * std::log(1 + lambda * (i / 4.0 - s));
    return divergence;
}

} // namespace

const char* decisionName(SprtDecision d) {
    switch (d) {
    case SprtDecision::None: return "no decision yet";
    case SprtDecision::H0: return "H0 accepted";
    case SprtDecision::H1: return "H1 accepted";
    }
    return "?";
}

double sprtLowerBound() { return std::log(SPRT_BETA / (1 - SPRT_ALPHA)); }

double sprtUpperBound() { return std::log((1 - SPRT_BETA) / SPRT_ALPHA); }

// An outcome not seen yet counts as 0.001 pair (as fishtest does), so that every outcome stays possible.
double sprtLlr(const PairCounts& counts, double elo0, double elo1) {
    double total = 0, p[5];
    for (int i = 0; i < 5; i++) {
        p[i] = counts[size_t(i)] > 0 ? counts[size_t(i)] : 1e-3;
        total += p[i];
    }
    if (total < 0.01) return 0;
    for (double& x : p) x /= total;
    return total * (divergenceFromMean(p, scoreFromElo(elo0)) - divergenceFromMean(p, scoreFromElo(elo1)));
}

SprtDecision sprtDecision(double llr) {
    if (llr >= sprtUpperBound()) return SprtDecision::H1;
    if (llr <= sprtLowerBound()) return SprtDecision::H0;
    return SprtDecision::None;
}

EloEstimate pairElo(const PairCounts& counts) {
    EloEstimate e;
    PairMoments m = pairMoments(counts);
    if (m.pairs == 0) return e;
    double s = e.score = m.mean;
    e.elo = (s > 0 && s < 1) ? eloFromScore(s) : std::nan("");
    double deviation = std::sqrt(m.variance / m.pairs);
    double low = s - 1.959963985 * deviation, high = s + 1.959963985 * deviation;
    // Pairs that all came out alike say nothing yet about the spread: no error bar then.
    bool spread = deviation > 0 && low > 0 && high < 1;
    e.margin = spread ? (eloFromScore(high) - eloFromScore(low)) / 2 : std::nan("");
    e.los = deviation > 0 ? 0.5 * (1 + std::erf((s - 0.5) / (deviation * std::sqrt(2.0))))
                          : (s > 0.5   ? 1
                             : s < 0.5 ? 0
                                       : 0.5);
    return e;
}

bool parseSprt(const std::string& text, double& elo0, double& elo1) {
    size_t comma = text.find(',');
    if (comma == std::string::npos) return false;
    auto number = [](const std::string& part, double& out) {
        char* end = nullptr;
        out = strtod(part.c_str(), &end);
        return !part.empty() && !isspace(uint8_t(part[0])) && *end == 0 && std::isfinite(out) && std::fabs(out) <= 1000;
    };
    double a = 0, b = 0;
    if (!number(text.substr(0, comma), a) || !number(text.substr(comma + 1), b) || !(a < b)) return false;
    elo0 = a;
    elo1 = b;
    return true;
}

} // namespace vireo_match
