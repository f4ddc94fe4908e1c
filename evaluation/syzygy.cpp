// Loading and releasing the Syzygy tables through Fathom. Fathom itself reports a table file of
// the wrong size, both on the error stream and as an "info string" line to the interface.
#include <cstdio>
#include <tbprobe.h>
#include "evaluation.h"
#include "../engine/assertion.h"

void initSyzygy(const char* path) {
    // "<empty>" is Fathom's own name for no tables: it releases the old ones and succeeds without
    // touching the count, so the count is cleared first.
    TB_LARGEST = 0;
    bool loaded = tb_init(path) && TB_LARGEST > 2;
    printf("info debug Initialisation of Syzygy : %s", loaded ? "success" : "failure");
    if (loaded) {
        printf(" (%i pieces)\n", int(TB_LARGEST));
        appendToLog("Syzygy ok");
    } else {
        printf("\n");
        TB_LARGEST = 0; // nothing may probe tables of two men or a failed load
    }
}

void freeSyzygy() {
    tb_free();
    TB_LARGEST = 0;
}
