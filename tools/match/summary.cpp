#include "summary.h"

#include <map>
#include <string>

#include "statistics.h"

namespace vireo_match {

namespace {

void printSequentialTest(FILE* out, const MatchResult& match, const MatchConfig& config, int games) {
    int pairs = 0;
    for (int c : match.pairs) pairs += c;
    EloEstimate pe = pairElo(match.pairs);
    fprintf(out, "SPRT elo0 %g, elo1 %g: LLR %.2f (%.2f, %.2f), %s after %d games (%d pairs)\n", config.sprt_elo0,
            config.sprt_elo1, match.llr, sprtLowerBound(), sprtUpperBound(), decisionName(match.decision), games,
            pairs);
    fprintf(out, "Pairs by points 0 1/2 1 3/2 2: %d %d %d %d %d; Elo from pairs %s (95%%), LOS %.1f%%\n",
            match.pairs[0], match.pairs[1], match.pairs[2], match.pairs[3], match.pairs[4], formatElo(pe).c_str(),
            100.0 * pe.los);
}

void printEndings(FILE* out, const MatchResult& match) {
    std::map<std::string, int> endings;
    for (auto& g : match.games) {
        if (g.number > 0) endings[g.ending]++;
    }
    fprintf(out, "Endings:");
    for (auto& [kind, count] : endings) fprintf(out, "  %s %d", kind.c_str(), count);
    fprintf(out, "\n");
}

void printFaults(FILE* out, const MatchResult& match) {
    for (Fault fault : {Fault::Illegal, Fault::Crash, Fault::Protocol, Fault::TimeLoss, Fault::Late}) {
        int counts[2] = {0, 0};
        std::vector<const Incident*> list;
        for (auto& g : match.games)
            for (auto& i : g.incidents)
                if (i.fault == fault) {
                    counts[i.engine]++;
                    list.push_back(&i);
                }
        fprintf(out, "%s: %zu (engine1 %d, engine2 %d)\n", faultName(fault), list.size(), counts[0], counts[1]);
        for (auto* i : list)
            fprintf(out, "  game %d, engine%d (%s): %s\n", i->game, i->engine + 1, match.names[i->engine].c_str(),
                    i->detail.c_str());
    }
}

} // namespace

void printSummary(FILE* out, const MatchResult& match, const MatchConfig& config) {
    int n = match.wins + match.draws + match.losses;
    EloEstimate e = estimateElo(match.wins, match.draws, match.losses);
    fprintf(out, "\n=== %s vs %s: %d games at %s ===\n", match.names[0].c_str(), match.names[1].c_str(), n,
            config.tc_text.c_str());
    fprintf(out, "Score of %s: W %d  D %d  L %d  (%.1f%%)\n", match.names[0].c_str(), match.wins, match.draws,
            match.losses, 100.0 * e.score);
    fprintf(out, "Elo difference: %s (95%%), LOS %.1f%%\n", formatElo(e).c_str(), 100.0 * e.los);
    if (config.sprt) printSequentialTest(out, match, config, n);
    printEndings(out, match);
    printFaults(out, match);
}

} // namespace vireo_match
