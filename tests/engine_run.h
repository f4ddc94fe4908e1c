// One run of the engine binary from start to end in a scratch directory, for the tests of the
// command line and of the training tools.
#pragma once
#include <string>
#include <vector>
#include "tests/scratch_dir.h"
#include "tools/uci/process.h"

struct EngineRun {
    int status; // the exit code, -1 when the engine did not exit normally
    std::string out, err;
};

// Runs the engine in the directory with one argument (none when empty) and standard input from
// the named file of the directory (empty input when none).
inline EngineRun runEngine(const ScratchDir& dir, const std::string& argument, const std::string& input = "") {
    std::vector<std::string> words = {VIREO_BINARY};
    if (!argument.empty()) words.push_back(argument);
    int status = vireo_tools::runToEnd(words, dir.path(), input.empty() ? "/dev/null" : dir.path() + "/" + input,
                                       dir.path() + "/stdout.txt", dir.path() + "/stderr.txt");
    return {status, dir.read("stdout.txt"), dir.read("stderr.txt")};
}
