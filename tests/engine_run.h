// One run of the engine binary from start to end in a scratch directory, for the tests of the
// command line and of the training tools.
#pragma once
#include <sys/wait.h>
#include <cstdlib>
#include <string>
#include "tests/scratch_dir.h"

struct EngineRun {
    int status; // the exit code, -1 when the engine did not exit normally
    std::string out, err;
};

// Runs the engine in the directory with one argument (none when empty) and standard input from
// the named file of the directory (empty input when none).
inline EngineRun runEngine(const ScratchDir& dir, const std::string& argument, const std::string& input = "") {
    std::string command = "cd '" + dir.path() + "' && '" VIREO_BINARY "'";
    if (!argument.empty()) command += " '" + argument + "'";
    command += input.empty() ? " < /dev/null" : " < '" + input + "'";
    command += " > stdout.txt 2> stderr.txt";
    int status = std::system(command.c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, dir.read("stdout.txt"), dir.read("stderr.txt")};
}
