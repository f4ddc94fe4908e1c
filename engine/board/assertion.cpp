// Internal-consistency reports. The logged form leaves the board on standard output and a line
// in "vireo.log" before the process ends, so a failure during a game can be traced afterwards.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include "assertion.h"
#include "notation.h"

namespace {
// __FILE__ is the path the compiler was given, which depends on where the tree was built; the file
// name alone reads the same on every machine.
const char* fileName(const char* path) {
    const char* slash = strrchr(path, '/');
    return slash ? slash + 1 : path;
}
} // namespace

void appendToLog(const char* line) {
    if (FILE* log = fopen("vireo.log", "a")) {
        fprintf(log, "%s\n", line);
        fclose(log);
    }
}

void assertionFailed(const char* condition, const char* file, int line) {
    fflush(stdout);
    fprintf(stderr, "Assertion failed: %s, file %s, line %d\n", condition, fileName(file), line);
    abort();
}

void assertionReported(const char* condition, const char* file, int line) {
    printBoard();
    char entry[512];
    snprintf(entry, sizeof entry, "Assertion error : %s (file %s, line %d)", condition, fileName(file), line);
    appendToLog(entry);
    assertionFailed(condition, file, line);
}
