#include <sys/stat.h>

#include <cstdio>

#include "ov_helper.h"

int is_pid_alive(int pid)
{
    char path[32];
    snprintf(path, sizeof path, "/proc/%d/status", pid);
    struct stat status;
    return stat(path, &status) == 0 ? 1 : 0;
}

int get_uid_from_pid(int pid)
{
    char command[256];
    snprintf(command, sizeof command, "cat /proc/%d/status | grep Uid | awk '{ print $3 }'", pid);
    return ov_get_num_from_cmd(command);
}

int ov_get_num_from_cmd(const char *command)
{
    FILE *output = command != nullptr ? popen(command, "r") : nullptr;
    if (output == nullptr)
        return -1;
    int number = 0;
    if (feof(output) == 0) { // GCOVR_EXCL_BR_LINE: a new stream is not at its end
        if (fscanf(output, "%d\n", &number) != 1)
            number = -2;
    }
    // Not pclose, on purpose: fclose does not wait for a shell that hangs (in glibc both are the same).
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmismatched-dealloc"
    fclose(output);
#pragma GCC diagnostic pop
    return number;
}
