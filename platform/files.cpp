// File identity, read-only mappings and a muted error stream, per system.
#include <fcntl.h>
#include <sys/stat.h>
#include "files.h"
#if defined(_WIN32)
#include <io.h>
#include <windows.h>
#else
#include <unistd.h>
#include <sys/mman.h>
#endif

#if defined(_WIN32)
namespace {
// The volume and the file index name a file on Windows; the C library's inode numbers are all 0.
bool fileIdentity(HANDLE handle, BY_HANDLE_FILE_INFORMATION* about) {
    return handle != INVALID_HANDLE_VALUE && GetFileInformationByHandle(handle, about);
}
} // namespace

bool isSameFile(FILE* file, const char* name) {
    BY_HANDLE_FILE_INFORMATION in, out;
    if (!fileIdentity(HANDLE(_get_osfhandle(_fileno(file))), &in)) return false;
    HANDLE other = CreateFileA(name, 0, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                               FILE_FLAG_BACKUP_SEMANTICS, nullptr);
    bool known = fileIdentity(other, &out);
    if (other != INVALID_HANDLE_VALUE) CloseHandle(other);
    return known && in.dwVolumeSerialNumber == out.dwVolumeSerialNumber && in.nFileIndexHigh == out.nFileIndexHigh &&
           in.nFileIndexLow == out.nFileIndexLow;
}

FileMapping mapFile(const char* name) {
    FileMapping m{nullptr, 0, nullptr};
    HANDLE file =
        CreateFileA(name, GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) return m;
    LARGE_INTEGER size;
    if (GetFileSizeEx(file, &size) && size.QuadPart > 0) {
        HANDLE mapping = CreateFileMappingA(file, nullptr, PAGE_READONLY, 0, 0, nullptr);
        if (mapping) {
            void* view = MapViewOfFile(mapping, FILE_MAP_READ, 0, 0, 0);
            if (view) m = {static_cast<const unsigned char*>(view), size_t(size.QuadPart), mapping};
            else CloseHandle(mapping);
        }
    }
    CloseHandle(file);
    return m;
}

void unmapFile(FileMapping* m) {
    if (m->data) UnmapViewOfFile(m->data);
    if (m->handle) CloseHandle(m->handle);
    *m = {nullptr, 0, nullptr};
}
#else
bool isSameFile(FILE* file, const char* name) {
    struct stat in, out;
    return fstat(fileno(file), &in) == 0 && stat(name, &out) == 0 && in.st_dev == out.st_dev && in.st_ino == out.st_ino;
}

FileMapping mapFile(const char* name) {
    FileMapping m{nullptr, 0, nullptr};
    int fd = open(name, O_RDONLY);
    struct stat about;
    if (fd < 0) return m;
    if (fstat(fd, &about) == 0 && S_ISREG(about.st_mode) && about.st_size > 0) {
        void* data = mmap(nullptr, size_t(about.st_size), PROT_READ, MAP_SHARED, fd, 0);
        if (data != MAP_FAILED) m = {static_cast<const unsigned char*>(data), size_t(about.st_size), nullptr};
    }
    close(fd);
    return m;
}

void unmapFile(FileMapping* m) {
    if (m->data) munmap(const_cast<unsigned char*>(m->data), m->size);
    *m = {nullptr, 0, nullptr};
}
#endif

void withErrorsMuted(void (*action)()) {
    fflush(stderr);
    int saved = dup(2), null = open(NULL_DEVICE, O_WRONLY);
    if (saved >= 0 && null >= 0) dup2(null, 2);
    action();
    fflush(stderr);
    if (saved >= 0 && null >= 0) dup2(saved, 2);
    if (saved >= 0) close(saved);
    if (null >= 0) close(null);
}
