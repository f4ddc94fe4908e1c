// The processor's instruction sets, for the start-up report.
#pragma once

// The four sets the report names, in its order: POPCNT, AVX, AVX2, BMI2. All false on a processor
// that is not x86 (it has none of them).
void processorFeatures(bool has[4]);
