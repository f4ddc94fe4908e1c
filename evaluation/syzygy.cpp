// Loading and releasing the Syzygy tables through Fathom. Fathom itself reports a table file of
// the wrong size, both on the error stream and as an "info string" line to the interface.
#include <cstdio>
#include <fcntl.h>
#include <unistd.h>
#include <tbprobe.h>
#include "evaluation.h"
#include "syzygy_check.h"
#include "syzygy_path.h"
#include "../engine/board/assertion.h"

namespace {
// Fathom's release of mapped tables tests munmap's result the wrong way round and prints
// "munmap: ..." for every table it unmaps successfully. Releasing runs with the error stream
// muted; loading does not, so Fathom's own complaints about bad files still get through.
template <typename F>
void withErrorsMuted(F release) {
    fflush(stderr);
    int saved = dup(2), null = open("/dev/null", O_WRONLY);
    if (saved >= 0 && null >= 0) dup2(null, 2);
    release();
    fflush(stderr);
    if (saved >= 0 && null >= 0) dup2(saved, 2);
    if (saved >= 0) close(saved);
    if (null >= 0) close(null);
}
} // namespace

void initSyzygy(const char* value) {
    // "<empty>" is Fathom's own name for no tables: it releases the loaded ones and succeeds
    // without touching the count, so the count is cleared here.
    withErrorsMuted([] { tb_init("<empty>"); });
    TB_LARGEST = 0;
    std::string path = cleanSyzygyPath(value);
    // Fathom trusts every file it accepts, and a damaged one would crash the engine at its first
    // probe; it cannot be told to leave one file out, so a damaged file refuses the whole path.
    bool loaded = checkTableFiles(path) && tb_init(path.c_str()) && TB_LARGEST > 2;
    printf("info debug Initialisation of Syzygy : %s", loaded ? "success" : "failure");
    if (loaded) {
        printf(" (%i pieces)\n", int(TB_LARGEST));
        appendToLog("Syzygy ok");
    } else {
        printf("\n");
        TB_LARGEST = 0; // two-man tables or a failed load: nothing may probe
    }
}

// Fathom cannot be initialised again after this: called once, when the engine quits.
void freeSyzygy() {
    withErrorsMuted([] { tb_free(); });
    TB_LARGEST = 0;
}
