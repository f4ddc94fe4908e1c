// Fathom splits the path at every separator (":", or ";" on Windows) and reads past the end of its
// list when a part is empty, so the empty parts never reach it.
#include "syzygy_path.h"
#include "../platform/files.h"

std::vector<std::string> syzygyDirectories(const std::string& path) {
    std::vector<std::string> parts(1);
    for (char c : path) {
        if (c == PATH_LIST_SEPARATOR) parts.emplace_back();
        else parts.back() += c;
    }
    return parts;
}

std::string cleanSyzygyPath(const char* value) {
    std::string clean;
    for (const std::string& part : syzygyDirectories(value)) {
        if (part.empty()) continue;
        if (!clean.empty()) clean += PATH_LIST_SEPARATOR;
        clean += part;
    }
    return clean.empty() ? "<empty>" : clean;
}
