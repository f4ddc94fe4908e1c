// A scratch directory under /tmp, removed with its contents when it goes out of scope (also when
// an ASSERT ends the test early): files in it, and a guard that makes it the working directory of
// the test process for a while.
#pragma once
#include <unistd.h>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <gtest/gtest.h>

// The bytes of any file (empty when it is missing), and a file written with exactly these bytes.
inline std::string fileBytes(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream bytes;
    bytes << in.rdbuf();
    return bytes.str();
}

inline void writeBytes(const std::string& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
}

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
    std::string read(const std::string& name) const { return fileBytes(dir_ + "/" + name); }
    void makeDirectory(const std::string& name) const { std::filesystem::create_directory(dir_ + "/" + name); }
    bool exists(const std::string& name) const { return std::filesystem::exists(dir_ + "/" + name); }

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
