// The summary printed at the end of a match.
#pragma once

#include <cstdio>

#include "config.h"
#include "match_run.h"

namespace vireo_match {

// Score, Elo estimate, the sequential test's state, game endings and every fault of the games
// played (games never started or left unfinished are not in it).
void printSummary(FILE* out, const MatchResult& match, const MatchConfig& config);

} // namespace vireo_match
