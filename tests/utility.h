// Runs the real ovuser on the simulator: shell scripts as root and as an ordinary user, in a folder that both can
// reach.
#pragma once

#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>

namespace fs = std::filesystem;

using Steps = std::vector<std::pair<std::string, std::string>>; // a shell script, and what it prints

// Each test has a folder of its own, without a table.
class Utility : public testing::Test
{
  protected:
    // A copy of the programs: an ordinary user may not reach the build folder.
    void SetUp() override
    {
        if (geteuid() != 0)
            GTEST_SKIP() << "needs the superuser";
        setenv("OV", "./ovuser", 1);
        setenv("TZ", "UTC", 1);
        setenv("SIM", "./zynov-sim --state table --shared", 1);
        setenv("NOBODY", "setpriv --reuid=65534 --regid=65534 --clear-groups", 1);
        setenv("FREEZE", "--epoch 1924419600 --speed frozen", 1); // Christmas 2030, at nine
        std::string name = fs::temp_directory_path() / "ovuser.XXXXXX";
        folder = mkdtemp(name.data());
        fs::permissions(folder, fs::perms(0755));
        for (const char *program : {"ovuser", "zynov-sim", "libzynov_sim.so", "tests/early.so", "tests/host.so",
                                    "tests/listing", "tests/probe", "tests/tree", "tests/waits"})
            fs::copy(fs::path(PROGRAMS) / program, folder);
        if (const fs::path program = fs::path(PROGRAMS) / "tests/tree_static"; fs::exists(program))
            fs::copy(program, folder);
    }
    void TearDown() override { fs::remove_all(folder); }

    // Runs a shell script in the folder; returns its output, its standard error after "! ", and its status last.
    static std::string shell(const std::string &script, const std::string &simulator = "")
    {
        std::ofstream(folder / "script") << script;
        const std::string line = "cd '" + folder.string() + "' && " + simulator + " sh ./script 2>err </dev/null; " +
                                 "status=$?; sed '1s/^/! /' err; printf %s \"= $status\"";
        FILE *const output = popen(line.c_str(), "r");
        std::string text;
        for (int next; (next = getc(output)) != EOF;)
            text += static_cast<char>(next);
        pclose(output);
        return text;
    }

    // A test cannot mount anything for itself alone in a changed root that is no mount point.
    static bool can_mount() { return shell("unshare -m true 2>&-") == "= 0"; }

    static void expect(const Steps &steps)
    {
        for (const auto &[script, expected] : steps) {
            std::string seen = shell(script, "$SIM");
            for (time_t now = time(nullptr) + 1, past = now - 30; past <= now; ++past)
                for (size_t at; (at = seen.find(std::to_string(past))) != std::string::npos;)
                    seen.replace(at, 10, "real");
            EXPECT_EQ(seen, expected) << script;
        }
    }

    static inline fs::path folder;
};

#define ERROR "! ovuser: error: "
#define AND_ERROR "ovuser: error: "
#define HINT "ovuser: hint: "
#define NO_MODULE HINT "no kernel module: 'modprobe zynov' loads it (package orvane-dkms), zynov-sim stands in for it\n"
#define REPORT "ovuser: report: "
#define GIVEN(who, type) REPORT who ": given 2030-12-25T09:00:00+00:00, " type "\n"
#define DELETED(who) REPORT who ": back on the system clock\n"
#define CHRISTMAS "Wed Dec 25 09:00:00 2030\n"
#define HEADER "Id         Clock type                Clock date/time\n"
#define OWN_HEADER "ovuser: report: Listing requested virtual clock:\n" HEADER
#define OWN_END "- End of list -\novuser: Requested Orvane users have been listed above.\n= 0"
