#include "ovuser/output.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "ovuser/command.h"

namespace ovuser
{

static int output_error = 0;

void hold_closed_streams()
{
    int descriptor;
    do
        descriptor = open("/", O_PATH | O_CLOEXEC);
    while (descriptor >= 0 && descriptor <= STDERR_FILENO);
    close(descriptor);
}

bool output_works()
{
    if (ferror(stdout) == 0)
        return true;
    if (output_error == 0)
        output_error = errno;
    return false;
}

void flush_output()
{
    errno = 0; // which an earlier failure has not left, where the reason for this one is known no more
    if (fflush(stdout) != 0)
        output_error = errno;
}

int finish_output(int status)
{
    flush_output();
    bool lost = !output_works();
    if (fclose(stdout) != 0 && errno != EBADF) { // some file systems tell only now that there is no room
        lost = true;
        output_error = errno;
    }
    if (lost)
        fprintf(stderr, "ovuser: error: standard output: %s\n",
                output_error != 0 ? strerror(output_error) : "some lines could not be written");
    if (ferror(stderr) != 0 && (fcntl(STDERR_FILENO, F_GETFL) & O_PATH) == 0) // who has closed it wants to hear nothing
        lost = true;
    return lost ? std::max(status, int{not_carried_out}) : status;
}

} // namespace ovuser
