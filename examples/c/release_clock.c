/*
 * Takes a user's virtual clock away, and lists those that are left.
 *
 *     cc -std=c99 -o release_clock release_clock.c $(pkg-config --cflags --libs ov_helper)
 *     ./release_clock alice
 */
#include <ov_helper.h>
#include <stdio.h>
#include <stdlib.h>

int main(int argc, char **argv)
{
    if (argc != 2) {
        fprintf(stderr, "usage: %s USER\n", argv[0]);
        return 2;
    }
    int failure = deleteUserClock(argv[1]);
    if (failure != 0)
        return failure;

    ov_request request = {.operation = OV_LIST};
    char *message = NULL;
    int32_t result = ov_process_request(&request, &message);
    if (message != NULL)
        fputs(message, result == OV_OK ? stdout : stderr);
    free(message);
    return check_rc(result);
}
