#include "ovuser/child.h"

#include <dirent.h>
#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "base/exit_status.h"
#include "ovuser/message.h"

namespace ovuser
{

// Whether a name is in a list with commas. A word that ends in * matches any name that begins with it.
static bool is_listed(const char *name, size_t length, const char *list)
{
    for (const char *word = list;; ++word) {
        const size_t size = strcspn(word, ",");
        const bool any = size > 0 && word[size - 1] == '*';
        if (any ? length >= size - 1 && strncmp(name, word, size - 1) == 0
                : length == size && strncmp(name, word, size) == 0)
            return true;
        word += size;
        if (*word == '\0')
            return false;
    }
}

static bool is_kept(const char *name, size_t length, const char *preserved)
{
    return is_listed(name, length, "PATH,TERM,COLORTERM,TZ,LANG,LANGUAGE,LC_*") ||
           (preserved != nullptr && (*preserved == '\0' || is_listed(name, length, preserved))) ||
           (getenv("ZYNOV_SIM_STATE") != nullptr && is_listed(name, length, "LD_PRELOAD,ZYNOV_SIM_*"));
}

// Makes the environment that of a user. Keeps the variables that describe the terminal and the language, and those that
// preserved lists: all when it is empty, none when it is null. Returns false without memory.
static bool set_environment(const passwd &user, const char *preserved)
{
    size_t count = 0, kept = 0;
    while (environ != nullptr && environ[count] != nullptr)
        ++count;
    auto **own = static_cast<char **>(calloc(count + 1, sizeof *environ));
    if (own == nullptr)
        return false;
    for (size_t i = 0; i < count; ++i)
        if (is_kept(environ[i], strcspn(environ[i], "="), preserved))
            own[kept++] = environ[i];
    environ = own;
    const struct {
        const char *name, *value;
    } hers[] = {{"HOME", user.pw_dir},
                {"USER", user.pw_name},
                {"LOGNAME", user.pw_name},
                {"SHELL", *user.pw_shell != '\0' ? user.pw_shell : "/bin/sh"}};
    for (const auto &variable : hers)
        if ((preserved == nullptr || !is_listed(variable.name, strlen(variable.name), preserved)) &&
            setenv(variable.name, variable.value, 1) != 0)
            return false;
    return true;
}

// Sets the groups first: afterwards the process may not.
static bool become(const Launch &launch)
{
    if (launch.kind == OV_GROUP)
        return setgid(launch.number) == 0;
    if (launch.kind != OV_USER)
        return true;
    const passwd *user = getpwuid(launch.number);
    return user != nullptr && initgroups(user->pw_name, user->pw_gid) == 0 && setgid(user->pw_gid) == 0 &&
           setuid(launch.number) == 0 && set_environment(*user, launch.preserved_variables);
}

// Closes all descriptors but the standard streams on exec.
static bool close_descriptors()
{
    DIR *const folder = opendir("/proc/self/fd");
    if (folder == nullptr)
        return false;
    while (const dirent *entry = readdir(folder))
        if (const int descriptor = atoi(entry->d_name); descriptor > STDERR_FILENO)
            fcntl(descriptor, F_SETFD, FD_CLOEXEC);
    closedir(folder);
    return true;
}

int Child::start()
{
    sigfillset(&all_);
    sigprocmask(SIG_BLOCK, nullptr, &inherited_mask_);
    struct sigaction action = {}; // an ignored SIGCHLD would reap the child
    action.sa_handler = SIG_DFL;
    sigaction(SIGCHLD, &action, &inherited_action_);
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends_) == 0 && (pid_ = fork()) == 0)
        execute();
    if (pid_ < 0) {
        failed("%s: %s", launch_.command[0], strerror(errno));
        return ov::own_failure;
    }
    close(ends_[1]);
    char word;
    return recv(ends_[0], &word, 1, 0) == 1 ? int{done} : reap();
}

// Makes this process the leader of a new session, and forks the process that executes the command. The leader stays: a
// process group without a parent in its session cannot be stopped from the terminal.
void Child::supervise()
{
    setsid();
    terminal_.attach();
    hold_signals();
    pid_ = fork();
    if (pid_ != 0) {
        setpgid(pid_, pid_);
        close(ends_[1]);
        leads_ = true;
        if (pid_ > 0)
            forward_signals();
        _exit(pid_ > 0 ? reap() : int{ov::own_failure});
    }
    setpgid(0, 0);
    terminal_.take_foreground();
    sigprocmask(SIG_SETMASK, &inherited_mask_, nullptr);
}

void Child::execute()
{
    close(ends_[0]);
    ends_[0] = -1;
    if (launch_.own_session)
        supervise();
    char **const command = launch_.command;
    if ((launch_.own_session && !launch_.keeps_descriptors && !close_descriptors()) || !become(launch_)) {
        failed("%s: cannot run as that user or group: %s", command[0], strerror(errno));
        _exit(ov::own_failure);
    }
    char word = 0;
    if (send(ends_[1], &word, 1, 0) != 1 ||
        recv(ends_[1], &word, 1, 0) != 1) // no clock was set, or the utility is gone
        _exit(ov::own_failure);
    sigaction(SIGCHLD, &inherited_action_, nullptr);
    execvp(command[0], command);
    const ov::ExitStatus status = errno == ENOENT ? ov::not_found : ov::cannot_execute;
    failed("%s: %s", command[0], strerror(errno));
    _exit(status);
}

void Child::hold_signals()
{
    sigprocmask(SIG_BLOCK, &all_, nullptr);
}

void Child::execute_command() const
{
    const char word = 0;
    send(ends_[0], &word, 1, 0);
}

// Stops as the command has stopped, so that the shell sees a stopped job.
void Child::stop_with_command(int signal)
{
    if (terminal_.is_raw()) { // a key on the terminal would stop the whole job
        terminal_.leave_raw_mode();
        kill(0, SIGTSTP);
        signal = SIGTSTP;
    }
    raise_default(leads_ ? SIGSTOP : signal);
    // SIGCONT has usually continued the child as well, since it goes to the whole job.
    sigset_t waking;
    sigemptyset(&waking);
    sigaddset(&waking, SIGCONT);
    const timespec at_once = {};
    sigtimedwait(&waking, nullptr, &at_once);
    if (!leads_)
        terminal_.enter_raw_mode();
    siginfo_t change = {};
    waitid(P_PID, static_cast<id_t>(pid_), &change, WCONTINUED | WNOHANG);
    if (change.si_pid == 0)
        kill(leads_ ? -pid_ : pid_, SIGCONT);
}

void Child::forward_signals()
{
    const auto child = static_cast<id_t>(pid_);
    const bool has_terminal = !leads_ && terminal_.is_there();
    for (;;) {
        siginfo_t signal, change = {};
        if (has_terminal)
            terminal_.wait(all_, signal);
        else if (sigwaitinfo(&all_, &signal) < 0)
            continue;
        if (signal.si_signo == SIGWINCH && has_terminal) {
            terminal_.resize();
            continue;
        }
        if (signal.si_signo != SIGCHLD) {
            // Signals from the terminal reach the whole job, but not another session.
            if (launch_.own_session || signal.si_code <= 0)
                kill(leads_ ? -pid_ : pid_, signal.si_signo);
            continue;
        }
        if (waitid(P_PID, child, &change, WSTOPPED | WNOHANG) == 0 && change.si_pid != 0)
            stop_with_command(change.si_status);
        change = {};
        if (waitid(P_PID, child, &change, WEXITED | WNOWAIT | WNOHANG) == 0 && change.si_pid != 0)
            return;
    }
}

int Child::reap(bool live) const
{
    int status;
    close(ends_[0]);
    while (waitpid(pid_, &status, 0) < 0)
        if (errno != EINTR)
            return ov::own_failure;
    if (WIFEXITED(status))
        return WEXITSTATUS(status);
    if (!live) {
        prctl(PR_SET_DUMPABLE, 0); // the command has dumped core itself
        raise_default(WTERMSIG(status));
    }
    return 128 + WTERMSIG(status); // process 1 of a container survives the signal
}

} // namespace ovuser
