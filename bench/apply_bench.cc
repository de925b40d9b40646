// The cost of applying a file of 1,000 clocks of 1,000 users, from a user database of this process's own. Runs as root
// under zynov-sim; others get no row.
#include <fcntl.h>
#include <pwd.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/mount.h>

#include <filesystem>
#include <fstream>

#include "bench/pairs.h"
#include "bench/program.h"
#include "contract/zynov.h"

using namespace bench;

static constexpr int lines = 1000;
static const char *utility;
static std::string clock_file;
static int control_file;

static std::string user_name(int number)
{
    return "user" + std::to_string(number);
}

// Users in a database that only this process and its children see.
static bool make_users(const std::string &folder)
{
    const std::string path = folder + "/passwd";
    std::filesystem::copy_file("/etc/passwd", path, std::filesystem::copy_options::overwrite_existing);
    std::ofstream passwd(path, std::ios::app);
    for (int i = 0; i < lines; ++i)
        passwd << user_name(i) << ":x:" << 100000 + i << ":100:User " << i << ":/home/user:/bin/sh\n";
    passwd.close();
    return unshare(CLONE_NEWNS) == 0 && mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
           mount(path.c_str(), "/etc/passwd", nullptr, MS_BIND, nullptr) == 0;
}

static void empty_table()
{
    zynov_iov record = {};
    record.version = ZYNOV_IOV_VERSION;
    ioctl(control_file, ZYNOV_IOC_RESET_ALL, &record);
}

static void apply()
{
    empty_table();
    run(utility, "apply", environ, clock_file.c_str());
}

static void bare_commands()
{
    empty_table();
    for (int i = 0; i < lines; ++i) {
        const passwd *user = getpwnam(user_name(i).c_str());
        zynov_iov record = {ZYNOV_IOV_VERSION, 0, 0, user->pw_uid, 1924419600, 1, 60, 0, 0, 0, 0};
        if (ioctl(control_file, ZYNOV_IOC_ADD_CLOCK, &record) != 0)
            abort();
    }
}

int main(int argc, char **argv)
{
    benchmark::Initialize(&argc, argv);
    if (getenv("ZYNOV_SIM_STATE") == nullptr || argc != 3) {
        fprintf(stderr, "usage: zynov-sim ... apply_bench [BENCHMARK OPTIONS...] OVUSER FOLDER\n");
        return 1;
    }
    if (getuid() != 0 || !make_users(argv[2]))
        return 0;
    utility = argv[1];
    clock_file = std::string(argv[2]) + "/clocks";
    std::ofstream file(clock_file);
    for (int i = 0; i < lines; ++i)
        file << "u:" << user_name(i) << " --at '2030-12-25 09:00' --speed 60\n";
    file.close();
    control_file = open(ZYNOV_PATH, O_RDONLY | O_CLOEXEC);
    compare<apply, bare_commands>("ovuser apply, 1,000 lines", "their commands and getpwnam", {1.30}, 1);
    Lines output(stdout);
    benchmark::RunSpecifiedBenchmarks(&output);
    empty_table();
}
