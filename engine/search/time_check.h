// The clock and input test that the searches make as they count nodes, and the progress line it
// prints now and then.
#pragma once
#include <cstdint>
#include "record.h"

// The test itself: the allotted time (with its one extension), waiting input and the end of
// input; every 2,000,000 nodes it also prints the progress line.
void checkTimeNow();

// Made every 10,000 nodes; returns search.stop.
inline uint32_t checkTime() {
    if (search.nodes % 10000 == 0 && search.nodes) checkTimeNow();
    return search.stop;
}
