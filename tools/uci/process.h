// Child processes that speak UCI over pipes: how a program is found and started, lines written and
// read with deadlines (so that no child that stops answering can stall a tool or a test), and how
// children are stopped, also when the program is interrupted. The one process driver of the tools
// and the tests.
//
// Only the C++ standard library and POSIX are used: the match tool must build without the engine.
#pragma once

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sstream>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

extern char** environ;

namespace vireo_tools {

using Clock = std::chrono::steady_clock;

// How long stockfish may take to answer a question about a position; it needs milliseconds.
constexpr std::chrono::seconds ANSWER_TIME{10};

struct Process {
    pid_t pid = -1;
    int to_child = -1;
    int from_child = -1;
    std::string buffer; // bytes read but not yet returned as lines
    bool eof = false;
    // Lines as the child wrote them, with a "\r" before the newline kept: the tests compare an
    // engine's bytes. The tools read lines as a GUI does, without it.
    bool raw_lines = false;
};

// Every live child is listed here so that an interrupted program does not leave engines behind.
constexpr int MAX_CHILDREN = 64;
inline std::atomic<pid_t> live_children[MAX_CHILDREN];

inline void registerChild(pid_t pid) {
    for (auto& slot : live_children) {
        pid_t empty = 0;
        if (slot.compare_exchange_strong(empty, pid)) return;
    }
}

inline void unregisterChild(pid_t pid) {
    for (auto& slot : live_children) {
        pid_t expected = pid;
        if (slot.compare_exchange_strong(expected, 0)) return;
    }
}

// Set by the signal handlers below: from then on no child is started.
inline std::atomic<bool> interrupted{false};
inline std::atomic<int> interrupt_signal{0};

// Kills the process group of every listed child. Only calls that are safe in a signal handler.
inline void killChildren() {
    for (auto& slot : live_children) {
        pid_t pid = slot.load();
        if (pid > 0) kill(-pid, SIGKILL);
    }
}

// Signal handler: kills every child's process group and reaps what it can within a second. Other
// threads may be restarting a child that just died meanwhile, so the list is read again on every
// round and no call here ever blocks.
extern "C" inline void killChildrenAndExit(int signal_number) {
    interrupted = true;
    for (int round = 0; round < 100; round++) {
        bool any = false;
        for (auto& slot : live_children) {
            pid_t pid = slot.load();
            if (pid <= 0) continue;
            kill(-pid, SIGKILL);
            if (waitpid(pid, nullptr, WNOHANG) == 0) any = true; // not dead yet
            else slot.compare_exchange_strong(pid, 0);
        }
        if (!any) break;
        timespec pause{0, 10 * 1000 * 1000};
        nanosleep(&pause, nullptr);
    }
    _exit(128 + signal_number);
}

// Signal handler of a program that winds down by itself and reports what it finished: the
// children die at once, so that every thread waiting for one of them wakes up, sees the flag and
// stops. The program then ends with status 128 + interrupt_signal.
extern "C" inline void killChildrenAndStop(int signal_number) {
    interrupt_signal = signal_number;
    interrupted = true;
    killChildren();
}

// Installs the handler for SIGINT and SIGTERM, once: a second signal ends the program outright.
inline void onInterrupt(void (*handler)(int)) {
    struct sigaction action {};
    action.sa_handler = handler;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESETHAND;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

// Splits a command line into words; single and double quotes group words, a backslash escapes.
inline std::vector<std::string> splitCommand(const std::string& command) {
    std::vector<std::string> words;
    std::string word;
    bool in_word = false;
    char quote = 0;
    for (size_t i = 0; i < command.size(); i++) {
        char c = command[i];
        if (quote) {
            if (c == quote) quote = 0;
            else if (c == '\\' && quote == '"' && i + 1 < command.size()) word += command[++i];
            else word += c;
        } else if (c == '\'' || c == '"') {
            quote = c;
            in_word = true;
        } else if (c == '\\' && i + 1 < command.size()) {
            word += command[++i];
            in_word = true;
        } else if (c == ' ' || c == '\t') {
            if (in_word) words.push_back(word);
            word.clear();
            in_word = false;
        } else {
            word += c;
            in_word = true;
        }
    }
    if (in_word) words.push_back(word);
    return words;
}

// Finds the program like a shell would; Debian puts its engines into /usr/games, which root's PATH
// often lacks, so that is searched last.
inline std::string resolveProgram(const std::string& program) {
    if (program.find('/') != std::string::npos) return program;
    std::string path = getenv("PATH") ? getenv("PATH") : "/usr/bin:/bin";
    path += ":/usr/games:/usr/local/games";
    std::stringstream dirs(path);
    std::string dir;
    while (std::getline(dirs, dir, ':')) {
        if (dir.empty()) continue;
        std::string candidate = dir + "/" + program;
        if (access(candidate.c_str(), X_OK) == 0) return candidate;
    }
    return program;
}

// Whether the program, found as above, can be run.
inline bool canRun(const std::string& program) { return access(resolveProgram(program).c_str(), X_OK) == 0; }

// Our environment for a child, with the program's own directory added to PATH: wrapper scripts
// such as gnuchessu call their sibling.
inline std::vector<std::string> childEnvironment(const std::string& program) {
    std::vector<std::string> environment;
    std::string program_dir = program.substr(0, program.rfind('/'));
    for (char** e = environ; *e; e++) {
        if (strncmp(*e, "PATH=", 5) != 0) environment.push_back(*e);
    }
    std::string path = getenv("PATH") ? getenv("PATH") : "/usr/bin:/bin";
    if (!program_dir.empty()) path += ":" + program_dir;
    environment.push_back("PATH=" + path);
    return environment;
}

inline std::vector<char*> nullTerminated(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    for (auto& text : texts) pointers.push_back(text.data());
    pointers.push_back(nullptr);
    return pointers;
}

// Spawns the program reading `input` and writing `output`, in a process group of its own (so that
// a wrapper script and the engine it runs can be stopped together), with SIGPIPE and SIGINT back
// at their defaults, in the given working directory (empty: ours). Its error stream is ours when
// show_stderr is set, else `errors` when that is open, else nothing. Returns posix_spawn's error
// number, 0 on success.
inline int spawnInOwnGroup(const std::string& program, std::vector<std::string>& words,
                           std::vector<std::string>& environment, int input, int output, bool show_stderr, pid_t* pid,
                           const std::string& directory = "", int errors = -1) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    if (!directory.empty()) posix_spawn_file_actions_addchdir_np(&actions, directory.c_str());
    posix_spawn_file_actions_adddup2(&actions, input, 0);
    posix_spawn_file_actions_adddup2(&actions, output, 1);
    if (!show_stderr && errors >= 0) posix_spawn_file_actions_adddup2(&actions, errors, 2);
    else if (!show_stderr) posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setpgroup(&attributes, 0);
    sigset_t default_signals;
    sigemptyset(&default_signals);
    sigaddset(&default_signals, SIGPIPE);
    sigaddset(&default_signals, SIGINT);
    posix_spawnattr_setsigdefault(&attributes, &default_signals);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGDEF);
    std::vector<char*> argv = nullTerminated(words), envp = nullTerminated(environment);
    int rc = posix_spawn(pid, program.c_str(), &actions, &attributes, argv.data(), envp.data());
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attributes);
    return rc;
}

// Starts the program (the first word) with its standard input and output on pipes, in the given
// working directory (empty: ours). Returns false with a reason when the program cannot be started.
inline bool startProcess(Process& process, std::vector<std::string> words, bool show_stderr, std::string& error,
                         const std::string& directory = "") {
    bool raw_lines = process.raw_lines;
    process = Process();
    process.raw_lines = raw_lines;
    if (interrupted) {
        error = "interrupted";
        return false;
    }
    if (words.empty()) {
        error = "empty command";
        return false;
    }
    std::string program = resolveProgram(words[0]);
    std::vector<std::string> environment = childEnvironment(program);
    int in_pipe[2], out_pipe[2];
    if (pipe2(in_pipe, O_CLOEXEC) != 0) {
        error = std::string("pipe: ") + strerror(errno);
        return false;
    }
    if (pipe2(out_pipe, O_CLOEXEC) != 0) {
        error = std::string("pipe: ") + strerror(errno);
        close(in_pipe[0]);
        close(in_pipe[1]);
        return false;
    }
    pid_t pid = -1;
    int rc = spawnInOwnGroup(program, words, environment, in_pipe[0], out_pipe[1], show_stderr, &pid, directory);
    close(in_pipe[0]);
    close(out_pipe[1]);
    if (rc != 0) {
        error = "cannot start '" + program + "': " + strerror(rc);
        close(in_pipe[1]);
        close(out_pipe[0]);
        return false;
    }
    registerChild(pid);
    if (interrupted) kill(-pid, SIGKILL); // the signal came while it started: the handler missed it
    process.pid = pid;
    process.to_child = in_pipe[1];
    process.from_child = out_pipe[0];
    return true;
}

// Runs the program (the first word) to its end in the given directory, its standard input read
// from one file and its output and error streams written to two others. Returns the exit status,
// -1 when it cannot be started or does not exit normally. For a run that needs no conversation,
// such as one of the engine's command-line tools.
inline int runToEnd(std::vector<std::string> words, const std::string& directory, const std::string& input,
                    const std::string& output, const std::string& errors) {
    if (words.empty()) return -1;
    std::string program = resolveProgram(words[0]);
    std::vector<std::string> environment = childEnvironment(program);
    int in = open(input.c_str(), O_RDONLY | O_CLOEXEC);
    int out = open(output.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    int err = open(errors.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    pid_t pid = -1;
    int rc = in >= 0 && out >= 0 && err >= 0
                 ? spawnInOwnGroup(program, words, environment, in, out, false, &pid, directory, err)
                 : errno;
    for (int descriptor : {in, out, err})
        if (descriptor >= 0) close(descriptor);
    if (rc != 0) return -1;
    int status = 0;
    while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {}
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// The same for a command line, split into words as splitCommand does.
inline bool startProcess(Process& process, const std::string& command, bool show_stderr, std::string& error) {
    return startProcess(process, splitCommand(command), show_stderr, error);
}

inline bool writeLine(Process& process, const std::string& line) {
    if (process.to_child < 0) return false;
    std::string text = line + "\n";
    size_t done = 0;
    while (done < text.size()) {
        ssize_t n = write(process.to_child, text.data() + done, text.size() - done);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false; // EPIPE: the child is gone
        done += size_t(n);
    }
    return true;
}

enum class ReadResult { Line, Timeout, Eof };

// Returns the next line the child wrote, waiting at most until the deadline.
inline ReadResult readLine(Process& process, std::string& line, Clock::time_point deadline) {
    for (;;) {
        size_t newline = process.buffer.find('\n');
        if (newline != std::string::npos) {
            line = process.buffer.substr(0, newline);
            process.buffer.erase(0, newline + 1);
            if (!process.raw_lines && !line.empty() && line.back() == '\r') line.pop_back();
            return ReadResult::Line;
        }
        if (process.eof || process.from_child < 0) return ReadResult::Eof;
        auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
        if (left < 0) return ReadResult::Timeout;
        pollfd descriptor{process.from_child, POLLIN, 0};
        int ready = poll(&descriptor, 1, int(std::min<int64_t>(left + 1, 1000)));
        if (ready < 0 && errno != EINTR) return ReadResult::Eof;
        if (ready <= 0) continue;
        char chunk[4096];
        ssize_t n = read(process.from_child, chunk, sizeof chunk);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) {
            process.eof = true; // a last line without its newline still counts
            if (!process.buffer.empty()) process.buffer += '\n';
            continue;
        }
        process.buffer.append(chunk, size_t(n));
    }
}

inline bool waitForExit(Process& process, int64_t wait_ms) {
    auto deadline = Clock::now() + std::chrono::milliseconds(wait_ms);
    for (;;) {
        siginfo_t info{};
        // WNOWAIT leaves the zombie in place, so its pid (and group id) cannot be reused before
        // the group has been cleaned up in stopProcess.
        if (waitid(P_PID, id_t(process.pid), &info, WEXITED | WNOHANG | WNOWAIT) == 0 && info.si_pid == process.pid)
            return true;
        if (Clock::now() >= deadline) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
}

// Asks the child to quit, gives it a moment, then kills its whole process group.
inline void stopProcess(Process& process, const std::string& quit_line = "quit", int64_t wait_ms = 500) {
    if (process.pid <= 0) return;
    if (!quit_line.empty() && !process.eof) writeLine(process, quit_line);
    if (process.to_child >= 0) close(process.to_child);
    process.to_child = -1;
    if (!waitForExit(process, wait_ms)) kill(-process.pid, SIGKILL);
    waitForExit(process, 2000);
    kill(-process.pid, SIGKILL); // helpers the engine may have left running
    // Off the list before it is reaped: once reaped, its id may name someone else's process.
    unregisterChild(process.pid);
    waitpid(process.pid, nullptr, 0);
    if (process.from_child >= 0) close(process.from_child);
    process.from_child = -1;
    process.pid = -1;
}

// Describes how a child that closed its output ended (waits briefly for it to finish dying).
inline std::string exitDescription(Process& process) {
    if (process.pid <= 0) return "not running";
    if (!waitForExit(process, 300)) return "closed its output but is still running";
    siginfo_t info{};
    waitid(P_PID, id_t(process.pid), &info, WEXITED | WNOHANG | WNOWAIT);
    if (info.si_code == CLD_EXITED) return "exited with status " + std::to_string(info.si_status);
    return std::string("killed by signal ") + std::to_string(info.si_status) + " (" + strsignal(info.si_status) + ")";
}

} // namespace vireo_tools
