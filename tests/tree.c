/* "tree BITS COMMAND...": gives itself a clock that stands at $AT or Christmas 2030, refines it and becomes the
   command. "tree": shows what children see that are made in all ways, "lost" for what has another time than its parent.
   "tree ~": succeeds if a child in a pid namespace of its own does not have this process's clock.
 */
#define _GNU_SOURCE
#include <fcntl.h>
#include <sched.h>
#include <spawn.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include "contract/zynov.h"

extern char **environ;
static time_t own;
static char number[24];

static int give(uint64_t bits, char **command)
{
    const int file = open(ZYNOV_PATH, O_RDONLY | O_CLOEXEC);
    const char *at = getenv("AT");
    struct zynov_iov add = {171, .id = getpid(), .vtime = at ? atol(at) : 1924419600, .flags = 3};
    struct zynov_iov refine = {171, .id = getpid(), .flags = 3, .spare = bits};
    if (ioctl(file, ZYNOV_IOC_ADD_CLOCK, &add) != 0 || ioctl(file, ZYNOV_IOC_REFINE_CLOCK, &refine) != 0)
        return perror("tree"), 1;
    execvp(*command, command);
    return perror(*command), 1;
}

static char *check[] = {"./tree", "-", number, NULL};
static char *deep[] = {"./tree", "+", NULL}; /* does the same from there */

static int compare(void *unused)
{
    (void)unused;
    _exit(time(NULL) == own ? 0 : 1);
}

static pid_t make(int way)
{
    static char stack[65536];
    pid_t child = -1;
    switch (way) {
    case 0:
        return fork();
    case 1:
        return _Fork();
    case 2:
        return (pid_t)syscall(SYS_clone, SIGCHLD, NULL, NULL, NULL, NULL);
    case 3:
        return clone(compare, stack + sizeof stack, SIGCHLD, NULL);
    case 4:
        child = vfork();
        if (child == 0) {
            execveat(open(*check, O_PATH | O_CLOEXEC), "", check, environ, AT_EMPTY_PATH);
            _exit(9);
        }
        return child;
    case 5:
        posix_spawn(&child, *check, NULL, NULL, check, environ);
        return child;
    case 6:
        child = fork();
        if (child == 0) {
            char *few[] = {getenv("ZYNOV_SIM_STATE") - strlen("ZYNOV_SIM_STATE="),
                           getenv("LD_PRELOAD") - strlen("LD_PRELOAD="), NULL, NULL};
#ifdef IS_STATIC /* only the library puts it back */
            few[2] = getenv("ZYNOV_SIM_TREES") - strlen("ZYNOV_SIM_TREES=");
#endif
            execve(*check, check, few);
        }
        return child;
    case 7:
        posix_spawn(&child, *deep, NULL, NULL, deep, environ);
        return child;
    default: /* a daemon's grandchild */
        child = fork();
        if (child == 0) {
            setsid();
            pid_t daemon = fork();
            int status;
            if (daemon == 0)
                execvp(*check, check);
            _exit(waitpid(daemon, &status, 0) == daemon ? WEXITSTATUS(status) : 9);
        }
        return child;
    }
}

int main(int count, char **words)
{
    if (count > 2 && *words[1] == '-')
        return time(NULL) == atol(words[2]) ? 0 : 1;
    if (count > 1 && *words[1] == '~') {
        int status = -1;
        if (time(NULL) == 1924419600 && unshare(CLONE_NEWPID) == 0 && fork() == 0)
            _exit(time(NULL) == 1924419600);
        return wait(&status) > 0 && status == 0 ? 0 : 1;
    }
    const int is_deep = count > 1 && *words[1] == '+';
    if (count > 2)
        return give(strtoul(words[1], NULL, 0), words + 2);
    own = time(NULL);
    snprintf(number, sizeof number, "%ld", (long)own);
    char command[64];
    if (getenv("CHECK"))
        *check = *deep = getenv("CHECK");
    snprintf(command, sizeof command, "%s - %s", *check, number);
    for (int way = 0; way < 9; ++way) {
        int status = -1;
        if (way == 7 && is_deep)
            continue;
        const pid_t child = make(way);
        if (child == 0)
            compare(NULL);
        if (child < 0 || waitpid(child, &status, 0) != child || status != 0)
            printf("way %d is lost\n", way);
    }
    if (system(command) != 0 || pclose(popen(command, "r")) != 0)
        puts("the C library's way is lost");
    return own == 1924419600 ? 0 : 1;
}
