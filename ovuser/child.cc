#include "ovuser/child.h"

#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "ovuser/command.h"

namespace ovuser
{

// So that no message goes down the line to the child, when standard error is closed. The command finds it closed again.
static void fill_standard_streams()
{
    int descriptor;
    do
        descriptor = open("/dev/null", O_RDWR | O_CLOEXEC);
    while (descriptor >= 0 && descriptor <= STDERR_FILENO);
    close(descriptor);
}

// The groups first: afterwards the right to change them is gone.
static bool live_as(int32_t kind, uint32_t number)
{
    if (kind == OV_GROUP)
        return setgid(number) == 0;
    if (kind != OV_USER)
        return true;
    const passwd *user = getpwuid(number);
    return user != nullptr && initgroups(user->pw_name, user->pw_gid) == 0 && setgid(user->pw_gid) == 0 &&
           setuid(number) == 0 && setenv("HOME", user->pw_dir, 1) == 0 && setenv("USER", user->pw_name, 1) == 0 &&
           setenv("LOGNAME", user->pw_name, 1) == 0;
}

// Lets a signal do here what it does by default.
static void suffer(int signal)
{
    struct sigaction action = {};
    action.sa_handler = SIG_DFL;
    sigaction(signal, &action, nullptr);
    sigset_t alone, kept;
    sigemptyset(&alone);
    sigaddset(&alone, signal);
    raise(signal);
    sigprocmask(SIG_UNBLOCK, &alone, &kept);
    sigprocmask(SIG_SETMASK, &kept, nullptr);
}

Child::Child(char **command, int32_t kind, uint32_t number) : ends_{-1, -1}, pid_(-1), ready_(false)
{
    fill_standard_streams();
    sigfillset(&all_);
    sigprocmask(SIG_BLOCK, &all_, &inherited_mask_);
    struct sigaction action = {}; // where SIGCHLD is ignored, nobody can wait for a child
    action.sa_handler = SIG_DFL;
    sigaction(SIGCHLD, &action, &inherited_action_);
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends_) == 0 && (pid_ = fork()) == 0)
        execute(command, kind, number);
    if (pid_ < 0) {
        failed("%s: %s", command[0], strerror(errno));
        return;
    }
    close(ends_[1]);
    char word;
    ready_ = recv(ends_[0], &word, 1, 0) == 1;
}

void Child::execute(char **command, int32_t kind, uint32_t number) const
{
    close(ends_[0]);
    if (!live_as(kind, number)) {
        failed("%s: cannot run as that user or group: %s", command[0], strerror(errno));
        _exit(own_failure);
    }
    char word = 0;
    if (send(ends_[1], &word, 1, 0) != 1 || recv(ends_[1], &word, 1, 0) != 1) // there is no clock, or nobody to end it
        _exit(own_failure);
    sigaction(SIGCHLD, &inherited_action_, nullptr);
    sigprocmask(SIG_SETMASK, &inherited_mask_, nullptr);
    execvp(command[0], command);
    const Start status = errno == ENOENT ? not_found : cannot_execute;
    failed("%s: %s", command[0], strerror(errno));
    _exit(status);
}

void Child::let_go() const
{
    const char word = 0;
    send(ends_[0], &word, 1, 0);
}

// The shell is to see a stopped job, and to wake it up again.
void Child::stop_alike(int signal) const
{
    suffer(signal);
    // What woke this process up has mostly woken the child up too, being for the whole job.
    sigset_t waking;
    sigemptyset(&waking);
    sigaddset(&waking, SIGCONT);
    const timespec at_once = {};
    sigtimedwait(&waking, nullptr, &at_once);
    siginfo_t change = {};
    waitid(P_PID, static_cast<id_t>(pid_), &change, WCONTINUED | WNOHANG);
    if (change.si_pid == 0)
        kill(pid_, SIGCONT);
}

void Child::stand_in() const
{
    const auto child = static_cast<id_t>(pid_);
    for (;;) {
        siginfo_t signal, change = {};
        if (sigwaitinfo(&all_, &signal) < 0)
            continue;
        if (signal.si_signo != SIGCHLD) {
            // What the terminal sends goes to the whole job.
            if (signal.si_code <= 0)
                kill(pid_, signal.si_signo);
            continue;
        }
        if (waitid(P_PID, child, &change, WSTOPPED | WNOHANG) == 0 && change.si_pid != 0)
            stop_alike(change.si_status);
        change = {};
        if (waitid(P_PID, child, &change, WEXITED | WNOWAIT | WNOHANG) == 0 && change.si_pid != 0)
            return;
    }
}

int Child::bury() const
{
    int status;
    close(ends_[0]);
    while (waitpid(pid_, &status, 0) < 0)
        if (errno != EINTR)
            return own_failure;
    if (WIFEXITED(status))
        return WEXITSTATUS(status);
    prctl(PR_SET_DUMPABLE, 0); // the command's own core is enough
    suffer(WTERMSIG(status));
    return 128 + WTERMSIG(status); // for who is number 1 in a container, and does not die of it
}

} // namespace ovuser
