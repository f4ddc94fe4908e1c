// Files as the system names and shares them.
#pragma once
#include <cstddef>
#include <cstdio>

// The device that swallows what is written to it and reads as empty.
#if defined(_WIN32)
constexpr const char* NULL_DEVICE = "NUL";
// Directory lists are split where a drive letter cannot be ("C:\\tables"), as Fathom splits them.
constexpr char PATH_LIST_SEPARATOR = ';';
#else
constexpr const char* NULL_DEVICE = "/dev/null";
constexpr char PATH_LIST_SEPARATOR = ':';
#endif

// Whether the named file exists and is the open file itself, also through a link.
bool isSameFile(FILE* file, const char* name);

// A regular file's contents, read-only, in memory for as long as the mapping lives: `data` is null
// when the file cannot be read or is empty.
struct FileMapping {
    const unsigned char* data;
    size_t size;
    void* handle; // what the system needs to release the view
};
FileMapping mapFile(const char* name);
void unmapFile(FileMapping* mapping);

// Runs `action` with the error stream sent to the null device.
void withErrorsMuted(void (*action)());
