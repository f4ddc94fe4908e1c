// The match tool's command line.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "config.h"

namespace vireo_match {

// "BASE+INC" in seconds, e.g. "10+0.1", or "BASE" alone.
bool parseTimeControl(const std::string& text, int64_t& base_ms, int64_t& increment_ms);

// Fills the configuration; returns an error text, empty when the command line is fine.
std::string parseArguments(const std::vector<std::string>& args, MatchConfig& config);

// The whole program: exit status 0 after a match, 1 for a bad command line or an engine that cannot
// start, 2 when the match cannot go on, 128 + the signal number when interrupted.
int runFromCommandLine(int argc, char** argv);

} // namespace vireo_match
