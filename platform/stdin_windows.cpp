// Standard input on Windows. The handle may be a pipe (a GUI or a tournament manager), a console
// (a person typing) or a file, and each says in its own way whether input is waiting: a pipe
// through PeekNamedPipe (what _filelength(_fileno(stdin)) reports for a pipe), a console through
// its pending input events, a file by its unread length.
#if defined(_WIN32)
#include <cstdio>
#include <fcntl.h>
#include <io.h>
#include <windows.h>
#include "stdin.h"

namespace {
HANDLE input() { return GetStdHandle(STD_INPUT_HANDLE); }

// A console holds a line for the engine once Enter is among its pending key presses: ReadFile
// waits until then, so earlier keys, mouse and focus events do not count as input.
bool consoleLineWaiting(HANDLE console) {
    DWORD count = 0;
    if (!GetNumberOfConsoleInputEvents(console, &count) || count == 0) return false;
    INPUT_RECORD records[256];
    DWORD read = 0;
    if (!PeekConsoleInputW(console, records, count < 256 ? count : 256, &read)) return false;
    for (DWORD i = 0; i < read; i++) {
        const KEY_EVENT_RECORD& key = records[i].Event.KeyEvent;
        if (records[i].EventType == KEY_EVENT && key.bKeyDown && key.uChar.UnicodeChar == L'\r') return true;
    }
    return false;
}

// The bytes of a file between the read position and its end.
bool fileBytesLeft(HANDLE file) {
    LARGE_INTEGER size, position, zero{};
    return GetFileSizeEx(file, &size) && SetFilePointerEx(file, zero, &position, FILE_CURRENT) &&
           size.QuadPart > position.QuadPart;
}
} // namespace

void setUpConsole() {
    _setmode(_fileno(stdout), _O_BINARY);
    setvbuf(stdout, nullptr, _IONBF, 0);
}

size_t readStandardInput(char* buffer, size_t size) {
    DWORD n = 0;
    // A broken pipe (the interface closed its end) and every other failure end the input.
    if (!ReadFile(input(), buffer, DWORD(size), &n, nullptr)) return 0;
    return n;
}

bool standardInputWaiting() {
    HANDLE in = input();
    switch (GetFileType(in)) {
    case FILE_TYPE_PIPE: {
        DWORD available = 0;
        return PeekNamedPipe(in, nullptr, 0, nullptr, &available, nullptr) && available > 0;
    }
    case FILE_TYPE_CHAR: return consoleLineWaiting(in);
    case FILE_TYPE_DISK: return fileBytesLeft(in);
    default: return false;
    }
}

bool standardInputReadable() {
    HANDLE in = input();
    switch (GetFileType(in)) {
    case FILE_TYPE_PIPE: {
        DWORD available = 0;
        if (PeekNamedPipe(in, nullptr, 0, nullptr, &available, nullptr)) return available > 0;
        // Only a closed pipe is the end; any other failure says nothing about the input.
        return GetLastError() == ERROR_BROKEN_PIPE;
    }
    case FILE_TYPE_CHAR: {
        // A console never ends; the null device (also a character device) always has.
        DWORD mode;
        return !GetConsoleMode(in, &mode) || consoleLineWaiting(in);
    }
    case FILE_TYPE_DISK: return true;
    default: return false;
    }
}

void detachStandardInput() {
    HANDLE null_device =
        CreateFileA("NUL", GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0, nullptr);
    if (null_device != INVALID_HANDLE_VALUE) SetStdHandle(STD_INPUT_HANDLE, null_device);
}
#endif
