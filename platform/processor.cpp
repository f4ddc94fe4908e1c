// CPUID through the compiler on x86; other processors have none of the four sets.
#include "processor.h"

void processorFeatures(bool has[4]) {
#if defined(__x86_64__) || defined(__i386__)
    __builtin_cpu_init();
    has[0] = __builtin_cpu_supports("popcnt");
    has[1] = __builtin_cpu_supports("avx");
    has[2] = __builtin_cpu_supports("avx2");
    has[3] = __builtin_cpu_supports("bmi2");
#else
    for (int i = 0; i < 4; i++) has[i] = false;
#endif
}
