// Memory figures and advice, one branch per system.
#include "memory.h"
#if defined(_WIN32)
#include <windows.h>
#elif defined(__linux__)
#include <cstdio>
#include <sys/mman.h>
#endif

uint64_t availableMemory() {
#if defined(_WIN32)
    MEMORYSTATUSEX status;
    status.dwLength = sizeof status;
    return GlobalMemoryStatusEx(&status) ? uint64_t(status.ullAvailPhys) : UINT64_MAX;
#elif defined(__linux__)
    // "MemAvailable" counts what can be had without swapping.
    uint64_t kb = UINT64_MAX / 1024;
    if (FILE* f = fopen("/proc/meminfo", "r")) {
        char line[256];
        unsigned long long value;
        while (fgets(line, sizeof line, f))
            if (sscanf(line, "MemAvailable: %llu kB", &value) == 1) kb = value;
        fclose(f);
    }
    return kb * 1024;
#else
    return UINT64_MAX;
#endif
}

void adviseLargePages(void* start, size_t bytes) {
#if defined(__linux__) && defined(MADV_HUGEPAGE)
    // With 2 MB pages most probes no longer miss the TLB.
    constexpr uintptr_t HUGE_PAGE = uintptr_t(2) << 20;
    uintptr_t first = (uintptr_t(start) + HUGE_PAGE - 1) & ~(HUGE_PAGE - 1);
    uintptr_t last = (uintptr_t(start) + bytes) & ~(HUGE_PAGE - 1);
    if (last > first) madvise((void*)first, last - first, MADV_HUGEPAGE);
#else
    (void)start, (void)bytes;
#endif
}
