// Drives a real engine process over pipes, as a GUI would: write command lines, read answer lines
// with a time limit. Used by the end-to-end tests.
#pragma once
#include <string>
#include <vector>
#include <cstring>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>
#include <sys/wait.h>
#include "platform/clock.h"

class EngineProcess {
public:
    // Starts the program with the given arguments in the given working directory (empty: current).
    explicit EngineProcess(const std::vector<std::string>& args = {VIREO_BINARY}, const std::string& dir = "") {
        signal(SIGPIPE, SIG_IGN);
        int in[2], out[2];
        if (pipe(in) || pipe(out)) return;
        pid_ = fork();
        if (pid_ == 0) {
            dup2(in[0], 0);
            dup2(out[1], 1);
            close(in[1]);
            close(out[0]);
            if (!dir.empty() && chdir(dir.c_str())) _exit(127);
            std::vector<char*> argv;
            for (const std::string& a : args) argv.push_back(const_cast<char*>(a.c_str()));
            argv.push_back(nullptr);
            execv(argv[0], argv.data());
            _exit(127);
        }
        close(in[0]);
        close(out[1]);
        to_engine_ = in[1];
        from_engine_ = out[0];
    }

    ~EngineProcess() {
        closeInput();
        if (pid_ > 0) {
            if (!waitExit(5000)) {
                kill(pid_, SIGKILL);
                waitpid(pid_, nullptr, 0);
            }
        }
        if (from_engine_ >= 0) close(from_engine_);
    }

    void send(const std::string& text) {
        std::string data = text + "\n";
        ssize_t written = write(to_engine_, data.data(), data.size());
        (void)written;
    }

    void closeInput() {
        if (to_engine_ >= 0) close(to_engine_);
        to_engine_ = -1;
    }

    // The next line (without its newline); false when none arrives within the time limit or at end.
    bool readLine(std::string& line, int timeout_ms = 10000) {
        uint64_t deadline = clockMs() + timeout_ms;
        for (;;) {
            size_t nl = pending_.find('\n');
            if (nl != std::string::npos) {
                line = pending_.substr(0, nl);
                pending_.erase(0, nl + 1);
                return true;
            }
            int64_t left = int64_t(deadline) - int64_t(clockMs());
            if (left <= 0) return false;
            pollfd p{from_engine_, POLLIN, 0};
            if (poll(&p, 1, int(left)) <= 0) return false;
            char buffer[65536];
            ssize_t n = read(from_engine_, buffer, sizeof buffer);
            if (n <= 0) {
                if (!pending_.empty()) {
                    line = pending_;
                    pending_.clear();
                    return true;
                }
                return false;
            }
            pending_.append(buffer, size_t(n));
        }
    }

    // Reads lines until one starts with the prefix; returns all lines read, the match last.
    std::vector<std::string> readUntil(const std::string& prefix, int timeout_ms = 10000) {
        std::vector<std::string> lines;
        std::string line;
        uint64_t deadline = clockMs() + timeout_ms;
        while (readLine(line, int(std::max<int64_t>(1, int64_t(deadline) - int64_t(clockMs()))))) {
            lines.push_back(line);
            if (line.rfind(prefix, 0) == 0) break;
        }
        return lines;
    }

    // Everything the engine prints until it ends (after input is closed or "quit").
    std::string readAll(int timeout_ms = 10000) {
        std::string all, line;
        while (readLine(line, timeout_ms)) all += line + "\n";
        return all;
    }

    // Waits for the process to end; its exit status is kept in status().
    bool waitExit(int timeout_ms) {
        if (pid_ <= 0) return true;
        uint64_t deadline = clockMs() + timeout_ms;
        while (clockMs() < deadline) {
            int status;
            if (waitpid(pid_, &status, WNOHANG) == pid_) {
                status_ = status;
                pid_ = -1;
                return true;
            }
            usleep(2000);
        }
        return false;
    }

    int status() const { return status_; }
    pid_t pid() const { return pid_; }

    // Skips the start-up lines (banner, processor, tablebase and table reports).
    void skipBanner() {
        send("isready");
        readUntil("readyok");
    }

private:
    pid_t pid_ = -1;
    int to_engine_ = -1, from_engine_ = -1;
    int status_ = -1;
    std::string pending_;
};
