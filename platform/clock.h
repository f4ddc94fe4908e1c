// Wall-clock milliseconds from a monotonic clock.
#pragma once
#include <chrono>
#include <cstdint>

inline uint64_t clockMs() {
    using namespace std::chrono;
    return (uint64_t)duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}
