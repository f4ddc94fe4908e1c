// Option values of the tools ("--name=value" or "--name value"). A value is a number only when all
// of it is one: atof("abc") would be 0, which for --max-rmse silently switches the limit off, and --count=abc
// would "succeed" without writing a position.
#pragma once

#include <cerrno>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace vireo_tools {

// The text after `name` when the argument starts with it, else null.
inline const char* optionValue(const char* arg, const char* name) {
    size_t n = strlen(name);
    return strncmp(arg, name, n) == 0 ? arg + n : nullptr;
}

inline bool parseLong(const char* text, long* out) {
    char* end = nullptr;
    errno = 0;
    long value = strtol(text, &end, 10);
    if (end == text || *end || errno == ERANGE) return false;
    *out = value;
    return true;
}

inline bool parseInt(const char* text, int* out) {
    long value = 0;
    if (!parseLong(text, &value) || value < INT_MIN || value > INT_MAX) return false;
    *out = int(value);
    return true;
}

inline bool parseUnsigned(const char* text, uint64_t* out) {
    char* end = nullptr;
    errno = 0;
    unsigned long long value = strtoull(text, &end, 10);
    if (end == text || *end || errno == ERANGE) return false;
    *out = value;
    return true;
}

// A whole number from low to high in all of `text`. Beyond high a value would wrap where it is
// stored or overflow the arithmetic done with it; strtoll itself clamps what it cannot hold and
// says ERANGE.
inline bool parseWholeNumber(const char* text, long long low, long long high, long long* out) {
    char* end = nullptr;
    errno = 0;
    *out = strtoll(text, &end, 10);
    return *text && *end == 0 && errno != ERANGE && *out >= low && *out <= high;
}

inline bool parseDouble(const char* text, double* out) {
    char* end = nullptr;
    errno = 0;
    double value = strtod(text, &end);
    if (end == text || *end || errno == ERANGE || !std::isfinite(value)) return false;
    *out = value;
    return true;
}

} // namespace vireo_tools
