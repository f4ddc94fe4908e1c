// Standard input on Linux and other POSIX systems: read(2) on descriptor 0, FIONREAD for the bytes
// waiting in a pipe, a file or a terminal, and poll for whether a read would return at once.
#if !defined(_WIN32) && !defined(__EMSCRIPTEN__)
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>
#include <sys/ioctl.h>
#include "stdin.h"

void setUpConsole() { setvbuf(stdout, nullptr, _IONBF, 0); }

size_t readStandardInput(char* buffer, size_t size) {
    ssize_t n;
    do n = read(0, buffer, size);
    while (n < 0 && errno == EINTR);
    return n > 0 ? size_t(n) : 0;
}

bool standardInputWaiting() {
    int waiting = 0;
    return ioctl(0, FIONREAD, &waiting) == 0 && waiting > 0;
}

bool standardInputReadable() {
    pollfd p{0, POLLIN, 0};
    return poll(&p, 1, 0) == 1;
}

void detachStandardInput() {
    int null_input = open("/dev/null", O_RDONLY);
    if (null_input >= 0 && dup2(null_input, 0) >= 0 && null_input != 0) close(null_input);
}
#endif
