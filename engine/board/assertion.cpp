// Internal-consistency reports. The logged form leaves the board on standard output and a line
// in "vireo.log" before the process ends, so a failure during a game can be traced afterwards.
#include <cstdio>
#include <cstdlib>
#include "assertion.h"
#include "notation.h"

void appendToLog(const char* line) {
    if (FILE* log = fopen("vireo.log", "a")) {
        fprintf(log, "%s\n", line);
        fclose(log);
    }
}

void assertionFailed(const char* condition, const char* file, int line) {
    fflush(stdout);
    fprintf(stderr, "Assertion failed: %s, file %s, line %d\n", condition, file, line);
    abort();
}

void assertionReported(const char* condition, const char* file, int line) {
    printBoard();
    char entry[512];
    snprintf(entry, sizeof entry, "Assertion error : %s (file %s, line %d)", condition, file, line);
    appendToLog(entry);
    assertionFailed(condition, file, line);
}
