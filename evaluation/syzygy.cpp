// Loading and releasing the Syzygy tables through Fathom. Fathom itself reports a table file of
// the wrong size, both on the error stream and as an "info string" line to the interface. A build
// without Fathom says so when it is given a directory of tables, and goes on without them.
#include <cstdio>
#include <dirent.h>
#include "syzygy.h"
#include "syzygy_check.h"
#include "syzygy_path.h"
#include "../engine/board/assertion.h"
#include "../platform/files.h"
#include "../platform/tablebase.h"

namespace {
// Whether any directory of a cleaned path list exists.
bool namesDirectory(const std::string& path) {
    for (const std::string& dir : syzygyDirectories(path))
        if (DIR* listing = opendir(dir.c_str())) {
            closedir(listing);
            return true;
        }
    return false;
}
} // namespace

void initSyzygy(const char* value) {
    // "<empty>" is Fathom's own name for no tables: it releases the loaded ones. Fathom's release of
    // mapped tables tests munmap's result the wrong way round and prints "munmap: ..." for every
    // table it unmaps successfully, so releasing runs with the error stream muted; loading does not, so Fathom's own complaints about bad files still get through.
    withErrorsMuted([] { loadTablebases("<empty>"); });
    std::string path = cleanSyzygyPath(value);
    if (!TABLEBASES_BUILT && namesDirectory(path)) {
        printf("info string This build of Vireo has no tablebase support: SyzygyPath is ignored\n");
        path = "<empty>";
    }
    // Fathom trusts every file it accepts, and a damaged one would crash the engine at its first
    // probe; it cannot be told to leave one file out, so a damaged file refuses the whole path.
    bool loaded = checkTableFiles(path) && loadTablebases(path.c_str()) && tablebase_men > 2;
    printf("info debug Initialisation of Syzygy : %s", loaded ? "success" : "failure");
    if (loaded) {
        printf(" (%i pieces)\n", int(tablebase_men));
        appendToLog("Syzygy ok");
    } else {
        printf("\n");
        tablebase_men = 0; // two-man tables or a failed load: nothing may probe
    }
}

// Fathom cannot be initialised again after this: called once, when the engine quits.
void freeSyzygy() { withErrorsMuted(releaseTablebases); }
