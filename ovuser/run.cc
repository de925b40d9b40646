#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "ovuser/change.h"
#include "ovuser/child.h"
#include "ovuser/command.h"
#include "ovuser/time_hints.h"

namespace ovuser
{

static constexpr char run_usage[] =
    "usage: ovuser run WHEN [--speed N] [--rewind] [--group GROUP | --user USER] [--] COMMAND [ARGS...]\n"
    "\n"
    "Runs COMMAND with a virtual clock, takes the clock away when COMMAND ends, and ends as it did. The clock is that\n"
    "of COMMAND's process alone, and what it starts keeps the real time; for all of it there are\n"
    "\n"
    "  --group GROUP       run it as GROUP, whose clock it is\n"
    "  --user USER         run it as USER, whose clock it is\n"
    "\n"
    "which only the superuser may. The exit status is COMMAND's; 127 when it is not found, 126 when it cannot be\n"
    "executed, and 125 when nothing was run for another reason.\n"
    "\n"
    "WHEN is one of\n"
    "\n";

enum RunOption { run_group = 1, run_user };

static constexpr OptionsWithWhen run_options({
    {"group", required_argument, nullptr, run_group},
    {"user", required_argument, nullptr, run_user},
    {"help", no_argument, nullptr, 'h'},
});

// What the words of the subcommand say.
struct Errand {
    When when;
    char *owner = nullptr; // u:USER or g:GROUP; null where the clock is to be the process's
    char **command = nullptr;
    bool help = false;

    ~Errand() { free(owner); }
    int read(int argc, char **argv);
};

int Errand::read(int argc, char **argv)
{
    for (int choice; (choice = getopt_long(argc, argv, "+X:o:h", run_options.list, nullptr)) != -1;) {
        int status = done;
        if (choice == 'h') {
            help = true;
            return done;
        }
        if (choice != run_group && choice != run_user)
            status = when.take(choice, argc, argv, run_options.list);
        else if (owner != nullptr)
            status = *owner == (choice == run_group ? 'g' : 'u')
                         ? misunderstood("--%s is given twice", choice == run_group ? "group" : "user")
                         : misunderstood("--group and --user cannot be given together");
        else if (asprintf(&owner, "%c:%s", choice == run_group ? 'g' : 'u', optarg) < 0)
            status = failed("no memory");
        if (status != done)
            return status;
    }
    if (optind == argc)
        return misunderstood("run needs a command; 'ovuser run --help' says more");
    command = argv + optind;
    const int status = when.complete("run");
    if (status != done)
        hint_on_stray_time(argc - optind, command);
    return status;
}

// The process that is to have the clock, or this one, as long as there is no other: to the engine's check they are
// alike.
struct ProcessText {
    explicit ProcessText(pid_t pid) { snprintf(text, sizeof text, "p:%d", static_cast<int>(pid)); }
    char text[16];
};

static int run_errand(const Errand &errand)
{
    if (errand.owner != nullptr && getuid() != 0) {
        failed("only root can run a command as another user or group");
        return own_failure;
    }
    ProcessText self(getpid());
    char *owner = errand.owner != nullptr ? errand.owner : self.text;
    Identities identities;
    int64_t checked = 0;
    int status = identities.read(1, &owner);
    if (status == done)
        status = check_clock(identities, errand.when, checked);
    if (status != done)
        return own_failure;

    Identity who = *identities.begin();
    const Child child(errand.command, who.kind, who.id);
    if (!child.is_ready())
        return child.bury();
    const ProcessText process(child.pid());
    if (who.kind == OV_PROCESS)
        read_identity(process.text, who);
    if (lend_clock(who, errand.when, checked) != done) {
        child.bury();
        return own_failure;
    }
    child.let_go();
    child.stand_in();
    reclaim_clock(who); // while its number is still its own
    return child.bury();
}

int run_command(int argc, char **argv)
{
    Errand errand;
    if (errand.read(argc, argv) != done)
        return own_failure;
    if (!errand.help)
        return run_errand(errand);
    printf("%s%s", run_usage, when_help);
    return done;
}

} // namespace ovuser
