// Fathom splits the path at every ":" and reads past the end of its list when a part is empty,
// so the empty parts never reach it.
#include "syzygy_path.h"

std::string cleanSyzygyPath(const char* value) {
    std::string clean, part;
    for (const char* c = value;; c++) {
        if (*c == ':' || *c == 0) {
            if (!part.empty()) clean += (clean.empty() ? "" : ":") + part;
            part.clear();
            if (*c == 0) break;
        } else {
            part += *c;
        }
    }
    return clean.empty() ? "<empty>" : clean;
}
