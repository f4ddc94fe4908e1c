// Checks of internal consistency. They stay active in release builds.
#pragma once

[[noreturn]] void assertionFailed(const char* condition, const char* file, int line);
[[noreturn]] void assertionReported(const char* condition, const char* file, int line);

// Plain check: message on the error stream, then abort.
#define VIREO_ASSERT(condition) ((condition) ? (void)0 : assertionFailed(#condition, __FILE__, __LINE__))

// Logged check: prints the board, appends a line to "vireo.log", then aborts.
#define assertReport(condition) ((condition) ? (void)0 : assertionReported(#condition, __FILE__, __LINE__))

// Appends one line to the log file "vireo.log"; silently skipped if it cannot be opened.
void appendToLog(const char* line);
