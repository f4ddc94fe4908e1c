// Fathom splits the path at every separator (":", or ";" on Windows) and reads past the end of its
// list when a part is empty, so the empty parts never reach it.
#include "syzygy_path.h"
#include "../platform/files.h"

std::string cleanSyzygyPath(const char* value) {
    std::string clean, part;
    for (const char* c = value;; c++) {
        if (*c == PATH_LIST_SEPARATOR || *c == 0) {
            if (!part.empty()) {
                if (!clean.empty()) clean += PATH_LIST_SEPARATOR;
                clean += part;
            }
            part.clear();
            if (*c == 0) break;
        } else {
            part += *c;
        }
    }
    return clean.empty() ? "<empty>" : clean;
}
