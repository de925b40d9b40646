// zynov-sim: runs a command, and all that it starts, with a simulated kernel module.
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "base/exit_status.h"
#include "simulator/launcher/launcher.h"
#include "simulator/process/tree_text.h"
#include "simulator/raw/system_call.h"
#include "simulator/table/state.h"
#include "simulator/vdso/start.h"

namespace sim
{

// Sets an environment variable; null removes it.
static void set(const char *variable, const char *value)
{
    if ((value != nullptr ? setenv(variable, value, 1) : unsetenv(variable)) != 0)
        fail("%s: %s", variable, strerror(errno));
}

[[noreturn]] static void run(char **command, const Choices &choices)
{
    char buffer[PATH_MAX];
    const char *file = find_program({command[0], true}, buffer);
    Start start;
    start.prepare({file}, choices.descendants ? Traced::descendants : Traced::own_exec);
    if (strchr(file, '/') != nullptr) // past the stand-ins of a simulator that this one runs under
        system_call(SYS_execve, file, command, environ);
    execvp(command[0], command); // which also runs scripts without a first line for an interpreter
    const ov::ExitStatus status = errno == ENOENT ? ov::not_found : ov::cannot_execute;
    fprintf(stderr, "zynov-sim: %s: %s\n", command[0], strerror(errno));
    _exit(status); // without freeing what the command was to have
}

// The chosen options, and what this process has at its start: descendants compare themselves with it.
static const char *all_choices(const char *chosen)
{
    struct stat file = {};
    fstat(STDERR_FILENO, &file);
    return text("%s%s%s%ju:%ju,%s%lu", chosen != nullptr ? chosen : "", chosen != nullptr ? "," : "", error_word,
                static_cast<uintmax_t>(file.st_dev), static_cast<uintmax_t>(file.st_ino), filters_word,
                count_filters());
}

} // namespace sim

int main(int argc, char **argv)
{
    using namespace sim;
    const Options options = read_options(argc, argv);
    const char *state = options.state != nullptr ? options.state : default_state();
    prepare_state(state, options.shared);
    const char *whole_path = realpath(state, nullptr);
    if (whole_path == nullptr)
        fail("%s: %s", state, strerror(errno));
    const char *outer = getenv(state_variable);
    if (getenv(trees_variable) == nullptr || outer == nullptr || strcmp(outer, whole_path) != 0)
        set(trees_variable, ""); // those of another table are none here
    set(state_variable, whole_path);
    set(faults_variable, options.faults);
    const char *choices = all_choices(options.choices);
    set(choices_variable, choices);
    preload_library();
    run(options.command, read_choices(choices));
}
