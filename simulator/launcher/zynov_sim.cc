// zynov-sim: runs a command, and all that it starts, with a simulated kernel module.
#include <fcntl.h>
#include <getopt.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "simulator/bare/system_call.h"
#include "simulator/control/faults.h"
#include "simulator/exec/start.h"
#include "simulator/table/state.h"

namespace sim
{

static constexpr char library_name[] = "libzynov_sim.so";

// As env and nohup do: the simulator's own failures, and those of starting the command.
enum Exit { own_failure = 125, cannot_execute = 126, not_found = 127 };

static constexpr char help[] =
    "usage: zynov-sim [OPTIONS] COMMAND [ARGS...]\n"
    "\n"
    "Runs COMMAND, and all that it starts, on a simulated Orvane kernel module.\n"
    "\n"
    "  --state FILE    keep the clock table in FILE (default: one for each user)\n"
    "  --shared        let all users of this machine read and write FILE\n"
    "  --fault SCRIPT  answer the n-th command of a process with a result, an errno and an edit\n"
    "                  of the record: N:RESULT:ERRNO[:FIELD=VALUE], more of them after commas\n"
    "  --no-static     leave programs alone that no library can be preloaded into\n"
    "  --descendants   stay with all that COMMAND starts, to reach those that such programs start\n"
    "  --quiet         do not say which programs keep the real time\n"
    "  --help          print this text\n";

[[noreturn]] static void fail(const char *format, ...) __attribute__((format(printf, 1, 2)));

static void fail(const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    fputs("zynov-sim: ", stderr);
    vfprintf(stderr, format, arguments);
    fputc('\n', stderr);
    va_end(arguments);
    exit(own_failure);
}

static char *text(const char *format, ...) __attribute__((format(printf, 1, 2)));

static char *text(const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    char *result;
    if (vasprintf(&result, format, arguments) < 0)
        fail("out of memory");
    va_end(arguments);
    return result;
}

// A folder that belongs to this user alone.
static bool is_private_folder(const char *path)
{
    struct stat folder;
    return lstat(path, &folder) == 0 && S_ISDIR(folder.st_mode) && folder.st_uid == geteuid() &&
           (folder.st_mode & (S_IWGRP | S_IWOTH)) == 0;
}

static const char *default_state()
{
    const char *runtime = getenv("XDG_RUNTIME_DIR");
    if (runtime != nullptr && runtime[0] == '/' && is_private_folder(runtime))
        return text("%s/zynov-sim", runtime);
    const char *folder = text("/tmp/zynov-sim-%u", geteuid());
    if (mkdir(folder, 0700) != 0 && errno != EEXIST)
        fail("%s: %s", folder, strerror(errno));
    if (!is_private_folder(folder))
        fail("%s: not a folder of yours alone", folder);
    return text("%s/table", folder);
}

static void prepare_state(const char *path, bool shared)
{
    const mode_t mode = shared ? 0666 : 0600;
    constexpr int flags = O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
    int descriptor = open(path, flags);
    if (descriptor < 0 && errno == ENOENT) {
        const int error = create_state(path, mode);
        if (error != 0 && error != EEXIST)
            fail("%s: %s", path, strerror(error));
        descriptor = open(path, flags);
    }
    if (descriptor < 0)
        fail("%s: %s", path, errno == ELOOP ? "is a symbolic link" : strerror(errno));
    if (const char *flaw = flaw_in_state(descriptor))
        fail("%s: %s", path, flaw);
    struct stat file;
    if (shared && fstat(descriptor, &file) == 0 && (file.st_mode & mode) != mode && fchmod(descriptor, mode) != 0)
        fail("%s: %s", path, strerror(errno));
    close(descriptor);
}

static char *find_library()
{
    char program[PATH_MAX];
    const ssize_t length = readlink("/proc/self/exe", program, sizeof program - 1);
    if (length < 0)
        fail("/proc/self/exe: %s", strerror(errno));
    program[length] = '\0';
    *strrchr(program, '/') = '\0';
    for (const char *folder : {".", OV_SIM_LIBRARY_FOLDER}) {
        char *path = realpath(text("%s/%s/%s", program, folder, library_name), nullptr);
        if (path != nullptr)
            return path;
    }
    fail("%s is neither in %s nor installed", library_name, program);
}

// Puts a text in front of a list in the environment, and drops other simulators from it: two would run a clock
// at the product of its speeds.
static void put_in_front(const char *variable, const char *first)
{
    char *list = text("%s", first);
    char *rest = text("%s", getenv(variable) != nullptr ? getenv(variable) : "");
    for (const char *entry; (entry = strsep(&rest, ":")) != nullptr;) {
        const char *name = strrchr(entry, '/');
        if (*entry != '\0' && strcmp(name != nullptr ? name + 1 : entry, library_name) != 0)
            list = text("%s:%s", list, entry);
    }
    if (setenv(variable, list, 1) != 0)
        fail("%s: %s", variable, strerror(errno));
}

static void preload(char *library)
{
    if (strpbrk(library, " :") == nullptr)
        return put_in_front("LD_PRELOAD", library);
    // A list of libraries is split at blanks too, one of folders is not.
    char *name = strrchr(library, '/');
    *name++ = '\0';
    if (strpbrk(library, ":;") != nullptr)
        fail("%s: a library in a folder with a colon or a semicolon cannot be preloaded", library);
    put_in_front("LD_LIBRARY_PATH", library);
    put_in_front("LD_PRELOAD", name);
}

} // namespace sim

int main(int argc, char **argv)
{
    using namespace sim;
    static constexpr option options[] = {
        {"state", required_argument, nullptr, 's'}, {"shared", no_argument, nullptr, 'S'},
        {"fault", required_argument, nullptr, 'f'}, {"no-static", no_argument, nullptr, 'n'},
        {"descendants", no_argument, nullptr, 'd'}, {"quiet", no_argument, nullptr, 'q'},
        {"help", no_argument, nullptr, 'h'},        {}};
    const char *state = nullptr, *script = nullptr;
    bool shared = false;
    const char *chosen = "";
    const auto choose = [&chosen](const char *word) { chosen = text("%s,%s", chosen, word); };
    for (int choice; (choice = getopt_long(argc, argv, "+", options, nullptr)) != -1;) {
        switch (choice) {
        case 's':
            state = optarg;
            break;
        case 'S':
            shared = true;
            break;
        case 'f':
            script = optarg;
            break;
        case 'n':
            choose("no-static");
            break;
        case 'd':
            choose("descendants");
            break;
        case 'q':
            choose("quiet");
            break;
        case 'h':
            if (fputs(help, stdout) == EOF || fflush(stdout) != 0)
                fail("standard output: %s", strerror(errno));
            return 0;
        default:
            fputs(help, stderr);
            return own_failure;
        }
    }
    if (optind == argc || (shared && state == nullptr)) {
        fputs(help, stderr);
        return own_failure;
    }
    if (!Faults().read(script))
        fail("%s: not a fault script", script);

    if (state == nullptr)
        state = default_state();
    prepare_state(state, shared);
    char *whole_path = realpath(state, nullptr);
    if (whole_path == nullptr || setenv(state_variable, whole_path, 1) != 0)
        fail("%s: %s", state, strerror(errno));
    preload(find_library());
    if ((script != nullptr ? setenv(faults_variable, script, 1) : unsetenv(faults_variable)) != 0)
        fail("%s: %s", faults_variable, strerror(errno));

    if ((*chosen != '\0' ? setenv(choices_variable, chosen, 1) : unsetenv(choices_variable)) != 0)
        fail("%s: %s", choices_variable, strerror(errno));
    char place[PATH_MAX];
    const char *file = find_program(argv[optind], place);
    const Start start(file, read_choices(chosen).descendants ? Traced::descendants : Traced::own_exec);
    if (strchr(file, '/') != nullptr) // past the stand-ins of a simulator that this one runs under
        system_call(SYS_execve, file, argv + optind, environ);
    execvp(argv[optind], argv + optind); // which also knows scripts that do not name their interpreter
    const Exit status = errno == ENOENT ? not_found : cannot_execute;
    fprintf(stderr, "zynov-sim: %s: %s\n", argv[optind], strerror(errno));
    _exit(status); // the command was to have all that is allocated here
}
