/* A static program that storms start. Its status: 0 with a clock, 1 in real time, 2 if it has a child that it did not
   make, 3 if it cannot make one. */
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

int main(void)
{
    if (waitpid(-1, NULL, WNOHANG | 0x40000000 /* __WALL */) != -1)
        return 2;
    const pid_t child = fork();
    if (child == 0)
        _exit(0);
    if (child < 0 || waitpid(child, NULL, 0) != child)
        return 3;
    return time(NULL) == 1924419600 ? 0 : 1;
}
