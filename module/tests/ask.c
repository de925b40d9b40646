/* Sends one command to the control file. Usage: ask add|delete|refine KIND ID [CONTAINER [BITS VTIME ORIGIN]]
   or ask reset [CONTAINER], ask list, ask mark. CONTAINER is hexadecimal. */
#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>

#include "contract/zynov.h"

static int file;

static int ask(unsigned long command, struct zynov_iov *record)
{
    record->version = ZYNOV_IOV_VERSION;
    if (ioctl(file, command, record) == 0)
        return 0;
    puts(strerror(errno));
    return 1;
}

static int list(void)
{
    int shown = 0;
    for (uint32_t slot = 0; slot < 1024; ++slot) {
        struct zynov_iov record = {.slot = slot};
        if (ask(ZYNOV_IOC_GET_SLOT, &record))
            return 1;
        if (record.id != 0) {
            printf("%s%c%lld", shown++ ? " " : "", " ugp"[record.flags & ZYNOV_KIND_MASK], (long long)record.id);
            if (record.container_id != 0)
                printf("@%llx", (unsigned long long)record.container_id);
        }
    }
    puts("");
    return 0;
}

int main(int argc, char **argv)
{
    const char *words[8] = {""};
    for (int i = 1; i < 9; ++i)
        words[i - 1] = i < argc ? argv[i] : "";
    const uint64_t kind = strtoull(words[1], NULL, 0);
    struct zynov_iov record = {.id = atoll(words[2]), .container_id = strtoull(words[3], NULL, 16)};
    file = open(ZYNOV_PATH, O_RDONLY);
    if (file < 0)
        return perror(ZYNOV_PATH), 1;
    record.flags = kind;
    record.vtime = 1924419600;
    record.speed = 1;
    if (strcmp(words[0], "add") == 0)
        return ask(ZYNOV_IOC_ADD_CLOCK, &record);
    if (strcmp(words[0], "list") == 0)
        return list();
    if (strcmp(words[0], "mark") == 0) {
        const int status = ask(ZYNOV_IOC_HIGH_MARK, &record);
        printf("%d\n", (int)record.speed);
        return status;
    }
    if (strcmp(words[0], "delete") == 0) {
        record.vtime = (int64_t)kind;
        return ask(ZYNOV_IOC_DELETE_CLOCK, &record);
    }
    if (strcmp(words[0], "reset") == 0) {
        record.container_id = strtoull(words[1], NULL, 16);
        return ask(ZYNOV_IOC_RESET_ALL, &record);
    }
    record.spare = strtoull(words[4], NULL, 0);
    record.vtime = atoll(words[5]);
    record.origin = atoll(words[6]);
    if (ask(ZYNOV_IOC_REFINE_CLOCK, &record))
        return 1;
    if (argc > 6)
        printf("%lld %lld %llu %lld %lld\n", (long long)record.id, (long long)record.base,
               (unsigned long long)record.spare, (long long)record.vtime, (long long)record.origin);
    return 0;
}
