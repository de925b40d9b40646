#include <cstdarg>
#include <cstdio>
#include <cstdlib>

#include "base/exit_status.h"
#include "simulator/launcher/launcher.h"

namespace sim
{

void fail(const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    fputs("zynov-sim: ", stderr);
    vfprintf(stderr, format, arguments);
    fputc('\n', stderr);
    va_end(arguments);
    exit(ov::own_failure);
}

char *text(const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    char *result;
    if (vasprintf(&result, format, arguments) < 0)
        fail("out of memory");
    va_end(arguments);
    return result;
}

} // namespace sim
