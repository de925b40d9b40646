#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "base/exit_status.h"
#include "ovuser/change.h"
#include "ovuser/child.h"
#include "ovuser/lock.h"
#include "ovuser/message.h"
#include "ovuser/subcommands.h"
#include "ovuser/text.h"

namespace ovuser
{

static constexpr char run_usage[] =
    "usage: ovuser run WHEN [--speed N] [--rewind] [--alone | --daemons | --group GROUP | --user USER [--no-pty]\n"
    "                  [--keep-fds] [--preserve-env[=NAMES]]] [--] COMMAND [ARGS...]\n"
    "\n"
    "Runs COMMAND with a virtual clock, and deletes the clock when COMMAND ends. All that COMMAND starts lives by "
    "that\n"
    "clock, too.\n"
    "\n"
    "  --alone             the clock is for COMMAND's own process only\n"
    "  --daemons           the clock ends with the last of the processes that COMMAND has started, not with COMMAND\n"
    "\n"
    "The superuser may choose a wider one:\n"
    "\n"
    "  --group GROUP       run it as GROUP; the clock is the group's\n"
    "  --user USER         run it as USER; the clock is the user's, and so is the environment. Only the standard\n"
    "                      streams stay open, and a terminal among them is replaced by a new one\n"
    "  --no-pty            with --user: stay in this session and on this terminal\n"
    "  --keep-fds          with --user: keep all open files\n"
    "  --preserve-env      with --user: keep the environment except HOME, USER, LOGNAME and SHELL, or only =NAME,NAME\n"
    "\n"
    "The exit status is COMMAND's; 127 if it is not found, 126 if it cannot be executed, and 125 if nothing was run\n"
    "for another reason.\n"
    "\n"
    "WHEN is one of\n"
    "\n";

enum RunOption { run_group = 1, run_user, run_no_pty, run_keep_fds, run_preserve_env, run_alone, run_daemons };

static constexpr OptionsWithClock run_options({
    {"group", required_argument, nullptr, run_group},
    {"user", required_argument, nullptr, run_user},
    {"no-pty", no_argument, nullptr, run_no_pty},
    {"keep-fds", no_argument, nullptr, run_keep_fds},
    {"preserve-env", optional_argument, nullptr, run_preserve_env},
    {"alone", no_argument, nullptr, run_alone},
    {"daemons", no_argument, nullptr, run_daemons},
    {"help", no_argument, nullptr, 'h'},
});

// The options of the subcommand.
struct RunOptions {
    ClockOptions when;
    char *owner = nullptr; // u:USER or g:GROUP; null for the process's clock
    char **command = nullptr;
    const char *preserved = nullptr, *for_user = nullptr; // preserved names; an option that needs --user
    const char *reach = nullptr;                          // "alone" or "daemons"
    bool help = false, no_pty = false, keep_fds = false;

    ~RunOptions() { free(owner); }
    int read(int argc, char **argv);

  private:
    int take(int choice);
};

int RunOptions::take(int choice)
{
    switch (choice) {
    case run_no_pty:
        no_pty = true;
        for_user = "no-pty";
        return done;
    case run_keep_fds:
        keep_fds = true;
        for_user = "keep-fds";
        return done;
    case run_preserve_env:
        preserved = optarg != nullptr ? optarg : "";
        for_user = "preserve-env";
        return done;
    case run_alone:
    case run_daemons:
        if (reach != nullptr && (*reach == 'a') != (choice == run_alone))
            return usage_error("--alone and --daemons cannot be given together");
        reach = choice == run_alone ? "alone" : "daemons";
        return done;
    default:
        break;
    }
    const bool group = choice == run_group;
    if (owner != nullptr)
        return *owner == (group ? 'g' : 'u') ? usage_error("--%s is given twice", group ? "group" : "user")
                                             : usage_error("--group and --user cannot be given together");
    return asprintf(&owner, "%c:%s", group ? 'g' : 'u', optarg) < 0 ? failed("no memory") : int{done};
}

int RunOptions::read(int argc, char **argv)
{
    for (int choice; (choice = getopt_long(argc, argv, "+X:o:h", run_options.list, nullptr)) != -1;) {
        if (choice == 'h') {
            help = true;
            return done;
        }
        const bool own = choice >= run_group && choice <= run_daemons;
        const int status = own ? take(choice) : when.take(choice, argc, argv, run_options.list);
        if (status != done)
            return status;
    }
    if (optind == argc)
        return usage_error("run needs a command; 'ovuser run --help' says more");
    command = argv + optind;
    if (for_user != nullptr && (owner == nullptr || *owner != 'u'))
        return usage_error("--%s goes with --user", for_user);
    if (reach != nullptr && owner != nullptr)
        return usage_error("--%s and --%s cannot be given together", reach, *owner == 'g' ? "group" : "user");
    const int status = when.complete("run");
    if (status != done)
        hint_on_stray_time(argc - optind, command);
    if (owner == nullptr && (reach == nullptr || *reach != 'a'))
        when.pass_on(OV_REFINE_DESCENDANTS | (reach != nullptr ? uint32_t{OV_REFINE_LASTING} : 0));
    return status;
}

// The process that gets the clock. Before the fork, the utility's own process stands for it in the check.
struct ProcessText {
    explicit ProcessText(pid_t pid) { snprintf(text, sizeof text, "p:%d", static_cast<int>(pid)); }
    char text[16];
};

static int run_for(Identity who, const RunOptions &options, int64_t checked)
{
    const bool own_session = who.kind == OV_USER && !options.no_pty;
    Terminal terminal;
    if (own_session && terminal.open(who.id) != done)
        return ov::own_failure;
    Child child({options.command, who.kind, who.id, own_session, options.keep_fds, options.preserved}, terminal);
    if (const int status = child.start())
        return status;
    const ProcessText process(child.pid());
    if (who.kind == OV_PROCESS) {
        read_identity(process.text, who);
        who.id = static_cast<uint32_t>(child.pid());
    }
    Lock lock;
    TemporaryClock temporary;
    int status = lock.take();
    child.hold_signals();
    if (status == done)
        status = give_temporary_clock(who, options.when, checked, temporary);
    lock.release();
    if (status != done) {
        child.reap();
        return ov::own_failure;
    }
    terminal.begin();
    child.execute_command();
    child.forward_signals();
    terminal.finish();
    if (!temporary.lasting)
        status = remove_temporary_clock(who, temporary); // before the process id can be reused
    const int command_status = child.reap(status != done);
    return status != done ? status : command_status;
}

static int run_with(const RunOptions &options)
{
    if (options.owner != nullptr && getuid() != 0) {
        failed("only root can run a command as another user or group");
        return ov::own_failure;
    }
    ProcessText self(getpid());
    char *owner = options.owner != nullptr ? options.owner : self.text;
    IdentityList identities;
    int64_t checked = 0;
    int status = read_identities(identities, 1, &owner);
    if (status == done)
        status = check_clock(identities, options.when, checked);
    if (status != done)
        return ov::own_failure;

    return run_for(*identities.begin(), options, checked);
}

int run_command(int argc, char **argv)
{
    RunOptions options;
    if (options.read(argc, argv) != done)
        return ov::own_failure;
    if (!options.help)
        return run_with(options);
    printf("%s%s", run_usage, when_help);
    return done;
}

} // namespace ovuser
