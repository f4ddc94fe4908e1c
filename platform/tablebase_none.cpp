// A build without Fathom (a testing framework's worker, the browser): no table is ever found, so
// nothing probes, exactly as with Fathom and an empty path.
#if !VIREO_FATHOM
#include "tablebase.h"

const bool TABLEBASES_BUILT = false;
unsigned tablebase_men = 0;

bool loadTablebases(const char*) {
    tablebase_men = 0;
    return false;
}

void releaseTablebases() { tablebase_men = 0; }

int probeTablebaseResult(const TablebasePosition&) { return -1; }

bool probeTablebaseRoot(const TablebasePosition&, unsigned, TablebaseRootMove*) { return false; }
#endif
