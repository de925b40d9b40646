#include "ovuser/output.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "ovuser/command.h"

namespace ovuser
{

static int output_error = 0;

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
    if (fflush(stdout) != 0)
        output_works();
}

int finish_output(int status)
{
    if (output_works() && fflush(stdout) != 0)
        output_error = errno;
    if (output_error == 0)
        return status;
    fprintf(stderr, "ovuser: error: standard output: %s\n", strerror(output_error));
    return status != done ? status : not_carried_out;
}

} // namespace ovuser
