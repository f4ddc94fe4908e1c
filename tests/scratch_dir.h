// A scratch directory under /tmp, removed with its contents when it goes out of scope (also when
// an ASSERT ends the test early): files in it, the engine binary run in it, and a guard that makes
// it the working directory of the test process for a while.
#pragma once
#include <sys/wait.h>
#include <unistd.h>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <gtest/gtest.h>

struct EngineRun {
    int status; // the exit code, -1 when the engine did not exit normally
    std::string out, err;
};

class ScratchDir {
public:
    ScratchDir() {
        char name[] = "/tmp/vireo_test_XXXXXX";
        if (mkdtemp(name)) dir_ = name;
        else ADD_FAILURE() << "cannot create a scratch directory under /tmp";
    }
    ~ScratchDir() {
        if (!dir_.empty()) std::filesystem::remove_all(dir_);
    }
    ScratchDir(const ScratchDir&) = delete;
    ScratchDir& operator=(const ScratchDir&) = delete;

    const std::string& path() const { return dir_; }
    void write(const std::string& name, const std::string& text) const { std::ofstream(dir_ + "/" + name) << text; }
    // The contents of a file here, empty when it is missing.
    std::string read(const std::string& name) const {
        std::ifstream in(dir_ + "/" + name);
        std::stringstream text;
        text << in.rdbuf();
        return text.str();
    }
    void makeDirectory(const std::string& name) const { std::filesystem::create_directory(dir_ + "/" + name); }
    bool exists(const std::string& name) const { return std::filesystem::exists(dir_ + "/" + name); }

    // Runs the engine in this directory with one argument (none when empty) and standard input
    // from the named file of this directory (empty input when none).
    EngineRun run(const std::string& argument, const std::string& input = "") const {
        std::string command = "cd '" + dir_ + "' && '" VIREO_BINARY "'";
        if (!argument.empty()) command += " '" + argument + "'";
        command += input.empty() ? " < /dev/null" : " < '" + input + "'";
        command += " > stdout.txt 2> stderr.txt";
        int status = std::system(command.c_str());
        return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, read("stdout.txt"), read("stderr.txt")};
    }

private:
    std::string dir_;
};

// Makes a directory the working directory of the test process until the end of the scope.
class WorkingDirectory {
public:
    explicit WorkingDirectory(const std::string& dir) {
        char* old = getcwd(nullptr, 0);
        if (old) old_ = old;
        free(old);
        EXPECT_EQ(chdir(dir.c_str()), 0) << "cannot enter " << dir;
    }
    ~WorkingDirectory() { EXPECT_EQ(chdir(old_.c_str()), 0) << "cannot return to " << old_; }
    WorkingDirectory(const WorkingDirectory&) = delete;
    WorkingDirectory& operator=(const WorkingDirectory&) = delete;

private:
    std::string old_;
};
