// A C stream that closes itself: every way out of a function, an early return or an exception,
// closes the files it opened. Files written to are closed by closeFile, which says whether all
// that was written reached the file.
#pragma once

#include <cstdio>
#include <memory>
#include <string>

namespace vireo_tools {

struct FileCloser {
    void operator()(FILE* file) const { fclose(file); }
};

using FileHandle = std::unique_ptr<FILE, FileCloser>;

// Null when the file cannot be opened.
inline FileHandle openFile(const std::string& path, const char* mode) { return FileHandle(fopen(path.c_str(), mode)); }

// Closes a file that was written to; false when a write or the close failed.
inline bool closeFile(FileHandle& file) {
    FILE* stream = file.release();
    if (!stream) return false;
    bool written = !ferror(stream);
    return fclose(stream) == 0 && written;
}

} // namespace vireo_tools
