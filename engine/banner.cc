#include <sys/stat.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "base/integer.h"
#include "base/local_time.h"
#include "base/version.h"
#include "ov_helper.h"

int print_header(const char *path)
{
    constexpr int first_year_shown = 2012;
    constexpr time_t june_30_2012 = 1341039600;
    if (path == nullptr)
        path = "";
    struct stat file;
    // The last access, not the last change: the copyright runs to the year of use.
    const time_t seen = stat(path, &file) == 0 ? file.st_atime : june_30_2012;
    const int year = std::max(ov::low_32(ov::local_time(seen).tm_year + int64_t{1900}), first_year_shown);
    fprintf(stdout, "Copyright (c) 1997-%d Orvane. All rights reserved.", year);
    fputc('\n', stdout);
    const char *slash = strrchr(path, '/');
    return printf("Orvane %s utility version %sR%s for Linux Kernel %s,\n", slash != nullptr ? slash + 1 : path,
                  OV_VERSION, OV_RELEASE, "2.6 or up");
}
