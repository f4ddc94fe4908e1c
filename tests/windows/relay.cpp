// Starts a Windows program with its standard input on a Windows pipe and copies this process's own
// standard input into that pipe. A GUI on Windows gives an engine such a pipe; under Wine, the Unix
// pipe of a test harness cannot be peeked (PeekNamedPipe fails), so an engine started on it
// directly could never see a "stop" arrive during a search. Output and errors are passed through.
// Usage: relay.exe program.exe [arguments...]; the exit status is the program's.
#include <windows.h>
#include <string>

namespace {
HANDLE pipe_in = nullptr;

// Copies standard input into the pipe until either ends, then closes the pipe: the program then
// reads the end of its input, as it would from a GUI that closed its side.
DWORD WINAPI copyInput(void*) {
    HANDLE in = GetStdHandle(STD_INPUT_HANDLE);
    char buffer[4096];
    DWORD got, put;
    while (ReadFile(in, buffer, sizeof buffer, &got, nullptr) && got > 0)
        if (!WriteFile(pipe_in, buffer, got, &put, nullptr)) break;
    CloseHandle(pipe_in);
    return 0;
}

HANDLE inheritable(HANDLE handle) {
    HANDLE copy = nullptr;
    DuplicateHandle(GetCurrentProcess(), handle, GetCurrentProcess(), &copy, 0, TRUE, DUPLICATE_SAME_ACCESS);
    return copy;
}

// The arguments as one command line, each quoted (none of ours holds a quote).
std::string commandLine(int argc, char** argv) {
    std::string line;
    for (int i = 1; i < argc; i++) line += std::string(i > 1 ? " " : "") + "\"" + argv[i] + "\"";
    return line;
}
} // namespace

int main(int argc, char** argv) {
    if (argc < 2) return 2;
    SECURITY_ATTRIBUTES inherit{sizeof inherit, nullptr, TRUE};
    HANDLE pipe_out;
    if (!CreatePipe(&pipe_out, &pipe_in, &inherit, 0)) return 3;
    SetHandleInformation(pipe_in, HANDLE_FLAG_INHERIT, 0);

    STARTUPINFOA startup{};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdInput = pipe_out;
    startup.hStdOutput = inheritable(GetStdHandle(STD_OUTPUT_HANDLE));
    startup.hStdError = inheritable(GetStdHandle(STD_ERROR_HANDLE));
    PROCESS_INFORMATION process;
    std::string line = commandLine(argc, argv);
    if (!CreateProcessA(nullptr, line.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup, &process))
        return 4;
    CloseHandle(pipe_out);
    CloseHandle(startup.hStdOutput);
    CloseHandle(startup.hStdError);
    CreateThread(nullptr, 0, copyInput, nullptr, 0, nullptr);
    WaitForSingleObject(process.hProcess, INFINITE);
    DWORD status = 1;
    GetExitCodeProcess(process.hProcess, &status);
    return int(status);
}
