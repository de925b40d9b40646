// The real ovuser on the simulator, as root and as an ordinary user.
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace fs = std::filesystem;

static constexpr char as_nobody[] = "setpriv --reuid=65534 --regid=65534 --clear-groups ";

// A folder with the programs that an ordinary user can reach, which a build folder may not be.
static fs::path stage()
{
    for (const fs::path &base : {fs::path(PROGRAMS), fs::temp_directory_path()}) {
        std::string name = base / "stage.XXXXXX";
        const fs::path folder = mkdtemp(name.data());
        fs::permissions(folder, fs::perms(0755));
        for (const char *program : {"ovuser", "zynov-sim", "libzynov_sim.so"})
            fs::copy(fs::path(PROGRAMS) / program, folder);
        if (geteuid() != 0 || system((as_nobody + ("test -x " + name + "/ovuser 2>/dev/null")).c_str()) == 0)
            return folder;
        fs::remove_all(folder);
    }
    return {};
}

class Utility : public testing::Test
{
  protected:
    static void SetUpTestSuite() { folder = stage(); }
    static void TearDownTestSuite() { fs::remove_all(folder); }
    void SetUp() override { fs::remove(folder / "table"); }

    static std::string contents(const fs::path &path)
    {
        std::stringstream text;
        text << std::ifstream(path).rdbuf();
        return text.str();
    }

    // Runs a shell command in the folder; what it prints on standard error comes after "! ", its status last.
    static std::string shell(const std::string &command)
    {
        const std::string line = "cd " + folder.string() + " && { " + command + "; } >out 2>err </dev/null";
        const int status = system(line.c_str());
        const std::string err = contents(folder / "err");
        return contents(folder / "out") + (err.empty() ? "" : "! " + err) + "= " + std::to_string(WEXITSTATUS(status));
    }

    static std::string simulated(const std::string &command)
    {
        const char *checker = getenv("OVUSER_CHECKER"); // such as valgrind
        return shell("export TZ=UTC OV='" + (checker != nullptr ? checker : std::string()) +
                     " ./ovuser'; ./zynov-sim --state table --shared " + command);
    }

    static fs::path folder;
};

fs::path Utility::folder;

TEST_F(Utility, DoesTheDailyWork)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "needs the superuser";
    const std::string nobody = as_nobody;
    const std::string at = " --at '2030-12-25 09:00' ", christmas = "Wed Dec 25 09:00:00 2030\n";
    const std::string all =
        "ovuser: report: Listing all virtual clocks:\nId         Clock type                Clock date/time\n";
    const std::string own = "ovuser: report: Listing requested virtual clock:\nId         Clock type         "
                            "       Clock date/time\n";
    const std::string usual = " has been added with a Running virtual clock: " + christmas;
    const std::string not_for_others = "! ovuser: error: Non-root user can not modify OV setting for others.\n= 5";
    const std::string perl = "open(F, q(<&7)); open(G, q(<&8)); \\$r = pack(q(Qx72), 171); ioctl(F, 0xC0505306, \\$r);"
                             "print unpack(q(x40q), \\$r); ioctl(G, 0xC0505306, \\$r) or print qq( \\$!\\n)";
    const std::pair<std::string, std::string> steps[] = {
        {"$OV list", all + "- End of list -\novuser: All Orvane users have been listed above.\n= 0"},
        {"$OV add u:nobody g:2 --speed=frozen" + at,
         "ovuser: uid 65534 has been added with a Frozen virtual clock: " + christmas +
             "ovuser: gid 2 has been added with a Frozen virtual clock: " + christmas + "= 0"},
        {"$OV add daemon --at 122509002030 --rewind --speed -1000",
         "ovuser: uid 1 has been added with a 1000 times slower virtual clock: " + christmas +
             "        The date will rewind at midnight.\n= 0"},
        {"$OV add g:2 --epoch 1924419600", "ovuser: uid 2 already has a virtual clock\n= 0"},
        {"$OV list", all + "u:nobody   Frozen                    " + christmas +
                         "\ng:bin      Frozen                    " + christmas +
                         "\nu:daemon   1000 times slower         " + christmas +
                         "\n- End of list -\novuser: All Orvane users have been listed above.\n= 0"},
        {nobody + "$OV list", own + "u:nobody   Frozen                    " + christmas +
                                  "\n- End of list -\novuser: Requested Orvane users have been listed above.\n= 0"},
        {nobody + "$OV delete", "ovuser: report: Virtual clock for uid 65534 has been deleted\n= 0"},
        {nobody + "$OV delete", "! ovuser: warning: Specified id does not have a virtual clock\n= 4"},
        {nobody + "$OV add" + at, "ovuser: uid 65534" + usual + "= 0"},
        {nobody + "$OV add p:1" + at, "ovuser: pid 1" + usual + "= 0"},
        {nobody + "$OV add daemon" + at, not_for_others},
        {nobody + "$OV delete g:bin", not_for_others},
        {nobody + "$OV list daemon", "! ovuser: error: Non-root user can not list other OV users.\n= 5"},
        {nobody + "$OV reset", "! ovuser: error: Only root can reset all the OV users.\n= 5"},
        {"$OV delete daemon u:root", "! ovuser: error: User root does not have a virtual clock\n= 4"},
        {"$OV reset", "ovuser: report: All Orvane users have been reset to the system clock successfully.\n= 0"},
        {"$OV reset", "ovuser: warning: Reset Orvane completed with no entry in it.\n= 0"},
        {"$OV add bin --epoch 32399", "! ovuser: error: Illegal virtual clock, must not be before Thu Jan 1 "
                                      "01:00:00 1970\nyou specified Thu Jan  1 08:59:59 1970\n\n= 5"},
        {"$OV add bin --at 2030-02-29T00:00", "! ovuser: error: Illegal virtual clock, invalid days with "
                                              "regard to year and month of Febrary[1 ~ 28]\n= 4"},
        {"$OV add bin -X 2030-12-32", "! ovuser: error: Illegal virtual clock, invalid days with regard to month\n= 4"},
        {"$OV add root" + at, "! ovuser: error: uid '0' (root user) or gid '0' (root group) is not allowed\n= 2"},
        {"$OV add p:x" + at, "! ovuser: error: incorrect/non-existent process id x passed in\n= 2"},
        {"$OV delete a b c d e f g h i j k", "! ovuser: error: too many identities, a request takes at most 10\n= 2"},
        {"$OV add bin --speed 1001" + at, "! ovuser: error: wrong parameters for speed: 1001, it must be an "
                                          "integer and belongs to  [-1000, 1000].\n= 3"},
        {"$OV add bin --epoch 5s", "! ovuser: error: --epoch takes a whole number, not '5s'\n= 2"},
        {"$OV add bin", "! ovuser: error: add needs a time; 'ovuser add --help' lists the ways to give it\n= 2"},
        {"$OV add bin --days 1 -X 12252030", "! ovuser: error: --days and --date cannot be given together\n= 2"},
        {"$OV add bin --in 1d --days=1", "! ovuser: error: --in and --days cannot be given together\n= 2"},
        {"$OV add bin --in '1d 1d'", "! ovuser: error: --in takes a span such as '2d 3h' or -90m, not '1d 1d'\n= 2"},
        {"$OV add bin --nonsense", "! ovuser: error: unrecognized option '--nonsense'\n= 2"},
        {"$OV add bin --offset -o 9999999999" + at,
         "! ovuser: error: --origin takes a whole number, not '9999999999'\n= 2"},
        {"$OV nonsense", "! ovuser: error: nonsense is not a subcommand; 'ovuser --help' lists them\n= 2"},
        {"$OV reset bin", "! ovuser: error: reset takes no identities\n= 2"},
        {"$OV add bin --in '-1d +2h' -o 1000000 --dry-run",
         "ovuser: report: The virtual clock would be set to Sun Jan 11 15:46:40 1970 (920800 seconds since "
         "the epoch)\n= 0"},
        {"$OV add bin --days -1 --hours 2 -o 1000000",
         "ovuser: uid 2 has been added with a Running virtual clock: Sun Jan 11 15:46:40 1970\n= 0"},
        {"$OV add none --days 1 --dry-run",
         "! ovuser: error: incorrect/non-existent username, or uid none passed in\n= 2"},
        {"$OV add bin --years -60 --dry-run", "! ovuser: error: Illegal virtual clock, invalid year[1970 ~ 9999]\n= 4"},
        {"--fault 1:-1:5 $OV delete bin",
         "! ovuser: error: an error occurred while executing this request, error = 5\n= 5"},
        {"--fault 1:-1:2 $OV delete bin", "! ovuser: error: the request was not carried out, result = -1\n= 5"},
        // A descriptor that was inherited and dup'ed is as good, and any other is none of the simulator's.
        {"sh -c 'exec 7</proc/zynov 8</dev/null; exec perl -e \"" + perl + "\"'",
         "0 Inappropriate ioctl for device\n= 0"},
    };
    for (const auto &[command, expected] : steps)
        EXPECT_EQ(simulated(command), expected) << command;
    EXPECT_EQ(shell("./ovuser list"), "! ovuser: error: Open of /proc/zynov failed; error = 2\n= 5");
    EXPECT_EQ(simulated("$OV list >/dev/full").substr(0, 42), "! ovuser: error: standard output: No space");
    EXPECT_EQ(simulated("$OV --version").find("Copyright (c) 1997-20"), 0u);
    for (const char *word : {"", "add", "delete", "list", "reset"})
        EXPECT_EQ(shell(std::string("./ovuser ") + word + " --help").find("usage: ovuser "), 0u);
}

TEST_F(Utility, RefusesATableThatIsNone)
{
    simulated("true");
    const std::string good = contents(folder / "table");
    std::string newer = good;
    newer[8] = 2;
    const std::pair<std::string, const char *> broken[] = {{"", "truncated"},
                                                           {good.substr(0, 1000), "truncated"},
                                                           {std::string(good.size(), '?'), "not a clock table"},
                                                           {newer, "a clock table of another version"}};
    for (const auto &[bytes, flaw] : broken) {
        std::ofstream(folder / "table") << bytes;
        EXPECT_EQ(simulated("$OV list"), "! zynov-sim: table: " + std::string(flaw) + "\n= 125");
        EXPECT_EQ(shell("LD_PRELOAD=./libzynov_sim.so ZYNOV_SIM_STATE=table ./ovuser list"),
                  "! ovuser: error: Open of /proc/zynov failed; error = 74\n= 5");
        EXPECT_EQ(contents(folder / "table"), bytes);
    }
    fs::remove(folder / "table");
    fs::create_symlink("elsewhere", folder / "table");
    EXPECT_EQ(simulated("true"), "! zynov-sim: table: is a symbolic link\n= 125");
    EXPECT_FALSE(fs::exists(folder / "elsewhere"));
    EXPECT_EQ(shell("mkdir -m 700 run; XDG_RUNTIME_DIR=$PWD/run ./zynov-sim true; stat -c %a run/*"), "600\n= 0");
}
