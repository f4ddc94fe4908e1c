// An engine process driven as a GUI would drive it: command lines written, answer lines read with
// a time limit, through the tools' process driver. The lines are kept as the engine wrote them.
// Used by the end-to-end tests.
#pragma once
#include <sys/wait.h>
#include <csignal>
#include <string>
#include <vector>
#include "platform/clock.h" // the tests time the engine's answers with the engine's own clock
#include "tools/uci/process.h"

class EngineProcess {
public:
    // Starts the program with the given arguments in the given working directory (empty: current).
    explicit EngineProcess(const std::vector<std::string>& args = {VIREO_BINARY}, const std::string& dir = "") {
        signal(SIGPIPE, SIG_IGN); // an engine that ends early must not end the test program
        process_.raw_lines = true;
        std::string error;
        if (!vireo_tools::startProcess(process_, args, true, error, dir)) ADD_FAILURE() << error;
    }

    ~EngineProcess() {
        closeInput();
        if (!waitExit(5000)) vireo_tools::stopProcess(process_, "", 0);
        if (process_.from_child >= 0) close(process_.from_child);
    }

    EngineProcess(const EngineProcess&) = delete;
    EngineProcess& operator=(const EngineProcess&) = delete;

    void send(const std::string& text) { vireo_tools::writeLine(process_, text); }

    void closeInput() {
        if (process_.to_child >= 0) close(process_.to_child);
        process_.to_child = -1;
    }

    // The next line (without its newline); false when none arrives within the time limit or at end.
    bool readLine(std::string& line, int timeout_ms = 10000) {
        auto deadline = vireo_tools::Clock::now() + std::chrono::milliseconds(timeout_ms);
        return vireo_tools::readLine(process_, line, deadline) == vireo_tools::ReadResult::Line;
    }

    // Reads lines until one starts with the prefix; returns all lines read, the match last.
    std::vector<std::string> readUntil(const std::string& prefix, int timeout_ms = 10000) {
        std::vector<std::string> lines;
        std::string line;
        auto deadline = vireo_tools::Clock::now() + std::chrono::milliseconds(timeout_ms);
        while (vireo_tools::readLine(process_, line, deadline) == vireo_tools::ReadResult::Line) {
            lines.push_back(line);
            if (line.rfind(prefix, 0) == 0) break;
        }
        return lines;
    }

    // Everything the engine prints until it ends (after input is closed or "quit"), each line
    // within the time limit.
    std::string readAll(int timeout_ms = 10000) {
        std::string all, line;
        while (readLine(line, timeout_ms)) all += line + "\n";
        return all;
    }

    // Waits for the process to end; its exit status (as waitpid gives it) is kept in status().
    bool waitExit(int timeout_ms) {
        if (process_.pid <= 0) return true;
        if (!vireo_tools::waitForExit(process_, timeout_ms)) return false;
        vireo_tools::unregisterChild(process_.pid);
        waitpid(process_.pid, &status_, 0);
        process_.pid = -1;
        return true;
    }

    int status() const { return status_; }
    pid_t pid() const { return process_.pid; }

    // Skips the start-up lines (banner, processor, tablebase and table reports).
    void skipBanner() {
        send("isready");
        readUntil("readyok");
    }

private:
    vireo_tools::Process process_;
    int status_ = -1;
};
