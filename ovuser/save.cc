#include <fcntl.h>
#include <getopt.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "ovuser/clock_file.h"
#include "ovuser/clocks.h"
#include "ovuser/identity.h"
#include "ovuser/lock.h"
#include "ovuser/message.h"
#include "ovuser/subcommands.h"
#include "ovuser/text.h"

namespace ovuser
{

static constexpr char save_help[] =
    "usage: ovuser save [FILE]\n"
    "\n"
    "Writes the virtual clocks to a file for 'ovuser apply'; without FILE, prints it. Clocks of processes, which do\n"
    "not survive a boot, are comments in it. FILE is replaced as a whole or not at all.\n";

static void print_speed(FILE *file, int32_t speed)
{
    if (speed == OV_SPEED_FROZEN || speed > OV_SPEED_LIMIT)
        fprintf(file, " --speed %s", speed == OV_SPEED_FROZEN ? "frozen" : "FROZEN");
    else if (speed != 1)
        fprintf(file, " --speed %" PRId32, speed);
}

static void print_line(FILE *file, const ov_clock &clock)
{
    const ListedIdentity owner(clock);
    if (!owner.exists || clock.kind == OV_PROCESS || !is_in_range(clock.value))
        fputs("# ", file);
    fprintf(file, "%.2s%s", owner.text, Quoted(owner.text + 2).text);
    fprintf(file, " --epoch %" PRId64, clock.value);
    print_speed(file, clock.speed);
    fprintf(file, "%s%s # %s\n", clock.rewind != 0 ? " --rewind" : "", passed_on_by(clock) != 0 ? " --descendants" : "",
            TimeText(clock.value).text);
}

// Prints all clocks. A file without its last line is incomplete.
static int print_clocks(FILE *file)
{
    Lock lock; // a clock that is being replaced must not be missed
    if (const int status = lock.take("nothing was saved"))
        return status;
    Clocks table;
    table.read();
    lock.release();
    fprintf(file, "%s%s, for 'ovuser apply'\n", saved_first, TimeText(real_time()).text);
    for (const ov_clock &clock : table)
        print_line(file, clock);
    const int status = table.report_failure();
    if (status == done)
        fprintf(file, "%s\n", saved_last);
    return status;
}

// Returns the folder of a file, allocated.
static char *folder_of(const char *path)
{
    const char *slash = strrchr(path, '/');
    return slash == nullptr ? strdup(".") : strndup(path, static_cast<size_t>(slash - path + 1));
}

// Makes the new name of a file survive a power failure.
static bool sync_folder(const char *path)
{
    char *const folder = folder_of(path);
    const int descriptor = folder != nullptr ? open(folder, O_RDONLY | O_DIRECTORY | O_CLOEXEC) : -1;
    free(folder);
    if (descriptor < 0)
        return false;
    const bool synced = fsync(descriptor) == 0 || errno == EINVAL; // some file systems cannot sync folders
    const int error = errno;
    close(descriptor);
    errno = error;
    return synced;
}

// Writes the clocks to a temporary file, and renames it when it is complete.
static int save_to(const char *path)
{
    struct stat present;
    constexpr mode_t readable = 0644;
    if (lstat(path, &present) == 0 && !S_ISREG(present.st_mode)) // would replace a device, for example
        return failed("%s: not a regular file", path);
    char *beside = nullptr;
    if (asprintf(&beside, "%s.XXXXXX", path) < 0)
        return failed("no memory");
    const HeldSignals held; // a signal would leave the temporary file
    const int descriptor = mkostemp(beside, O_CLOEXEC);
    FILE *const file = descriptor >= 0 ? fdopen(descriptor, "w") : nullptr;
    int status = file != nullptr ? print_clocks(file) : failure;
    bool whole = file != nullptr && fflush(file) == 0 && ferror(file) == 0 && fchmod(descriptor, readable) == 0 &&
                 fsync(descriptor) == 0;
    int error = errno;
    if (file != nullptr && fclose(file) != 0 && whole) {
        whole = false;
        error = errno;
    }
    if (whole && status == done && (rename(beside, path) != 0 || !sync_folder(path))) {
        whole = false;
        error = errno;
    }
    if (!whole)
        status = failed("%s: %s", Quoted(path).text, strerror(error));
    if (status != done && descriptor >= 0)
        unlink(beside);
    free(beside);
    return status;
}

int save_command(int argc, char **argv)
{
    int status;
    if (handle_help(argc, argv, save_help, status))
        return status;
    if (optind + 1 < argc)
        return usage_error("save takes one file");
    const char *path = optind < argc ? argv[optind] : "-";
    return strcmp(path, "-") == 0 ? print_clocks(stdout) : save_to(path);
}

} // namespace ovuser
