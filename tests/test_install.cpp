// The installed files of "cmake --install": the engine, its manual page and the GUI notes, and
// the installed engine's name and version.
#include <gtest/gtest.h>
#include <cstdlib>
#include <filesystem>
#include <vireo_version.h>
#include "tests/engine_process.h"
#include "tests/scratch_dir.h"

TEST(Install, EngineManualAndGuiNotes) {
    ScratchDir prefix;
    std::string command = "'" CMAKE_COMMAND "' --install '" VIREO_BUILD_DIR "' --prefix '" + prefix.path() + "' > '" +
                          prefix.path() + "/install.txt' 2>&1";
    ASSERT_EQ(std::system(command.c_str()), 0) << prefix.read("install.txt");
    namespace fs = std::filesystem;
    std::string engine = prefix.path() + "/games/vireo";
    ASSERT_TRUE(fs::exists(engine)) << prefix.read("install.txt");
    EXPECT_TRUE((fs::status(engine).permissions() & fs::perms::others_exec) != fs::perms::none);
    EXPECT_TRUE(fs::exists(prefix.path() + "/share/man/man6/vireo.6.gz") ||
                fs::exists(prefix.path() + "/share/man/man6/vireo.6"));
    EXPECT_TRUE(fs::exists(prefix.path() + "/share/doc/vireo/README.md"));
    EXPECT_TRUE(fs::exists(prefix.path() + "/share/doc/vireo/examples/vireo.ini"));

    // The installed engine runs, and names the version that the package and the manual carry.
    EngineProcess installed({engine});
    installed.skipBanner();
    installed.send("uci");
    std::vector<std::string> lines = installed.readUntil("uciok");
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines[0], "id name Vireo " VIREO_VERSION " x64");
    installed.send("quit");
    EXPECT_TRUE(installed.waitExit(5000));
}
