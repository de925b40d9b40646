/*
 * ov_helper: gives users, groups and processes virtual clocks, through /proc/zynov of the Orvane kernel module. The
 * manual page ov_helper(3) has the whole contract. In short:
 *
 *  - One thread. No two calls may overlap, except of the functions marked "reentrant".
 *  - A clock value counts seconds since 1970-01-01 00:00:00 UTC. 0 means failure.
 *  - A message slot (char **message) points to a pointer that the caller sets to NULL. A text that is there afterwards,
 *    on success too, is the caller's to show and free(). A NULL slot asks for no message.
 *  - Texts passed in are NUL-terminated and only read. Decimal texts are read as strtol does, and keep 32 bits.
 *  - errno is read after kernel commands and never cleared: set it to 0 before a request.
 */
#ifndef OV_HELPER_H
#define OV_HELPER_H

#include <stdint.h>
#include <time.h>

#if defined(__GNUC__)
#define OV_API __attribute__((visibility("default")))
#else
#define OV_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* 5 to 8, and negative codes, only open and close the control file. */
enum ov_operation {
    OV_ADD = 1,    /* give each identity a clock */
    OV_DELETE = 2, /* delete the clock of each identity */
    OV_LIST = 3,   /* print the clocks that the caller may see */
    OV_RESET = 4,  /* remove all clocks of this container; superuser only */
    OV_LAST_OPERATION = 8
};

enum ov_kind { OV_USER = 1, OV_GROUP = 2, OV_PROCESS = 3 };

/*
 * n above 1 is n times faster, -n is n times slower, 1 and -1 are the normal speed. A clock stands still at 0, shown as
 * "Frozen", and at 1001, shown as "FROZEN", which parse_speed refuses.
 */
enum ov_speed { OV_SPEED_LIMIT = 1000, OV_SPEED_FROZEN = 0, OV_SPEED_STOPPED = 1001 };

enum { OV_MAX_IDENTITIES = 10, OV_ABSOLUTE_FORM = 1 };

/* Any other result is what a failed kernel command returned, mostly -1. */
enum ov_result {
    OV_OK = 0,
    OV_BAD_OPERATION = 801,       /* operation is 0 or above 8; no message */
    OV_NO_IDENTITY_TEXT = 802,    /* an id_text is NULL; no message */
    OV_RESERVED_803 = 803,        /* never returned */
    OV_TOO_MANY_IDENTITIES = 804, /* id_count is not 0 to 10; no message */
    OV_BAD_KIND = 805,            /* an id_kind is not an ov_kind; no message */
    OV_UNKNOWN_IDENTITY = 806,    /* an identity does not resolve */
    OV_RESERVED_807 = 807,        /* never returned */
    OV_BAD_SPEED = 808,           /* speed is not -1000 to 1001 */
    OV_BAD_TIME = 809,            /* the absolute or date-only form gave no clock value */
    OV_BAD_RELATIVE_TIME = 810,   /* the relative form gave no clock value */
    OV_NOT_PERMITTED = 811,       /* the caller may not do this */
    OV_NO_CONTROL_FILE = 812,     /* /proc/zynov could not be opened */
    OV_KERNEL_ERROR = 813,        /* done, but the kernel module left an error number */
    OV_NO_CLOCK = 814,            /* delete: the identity has no clock, or is number 0 */
    OV_ROOT_IDENTITY = 815        /* add: an identity is uid 0 or gid 0 */
};

/* Only an add reads more than operation, id_count, id_kind and id_text. */
typedef struct ov_request {
    int32_t operation;       /* enum ov_operation */
    int32_t speed;           /* -1000 to 1001 */
    int32_t time_form;       /* 1: abs_time, else virtime; otherwise x_date, else the relative form */
    int32_t rel_mode;        /* relative form: the mode of parse_reltime, 0 or 1 */
    int32_t rewind;          /* not 0: the date rewinds at midnight */
    int32_t id_count;        /* 0 to 10; 0 means the calling user */
    int32_t id_kind[10];     /* enum ov_kind */
    const char *id_text[10]; /* user name or uid, group name or gid, process id */
    const char *abs_time;    /* MMDDhhmmYYYY in local time, or NULL */
    const char *x_date;      /* MMDDYYYY, at the present time of day, or NULL */
    const char *rel_minutes; /* decimal, may be negative, or NULL; so are the next three */
    const char *rel_hours;
    const char *rel_days;
    const char *rel_years;
    const char *rel_origin; /* seconds since the epoch to start from, not after now, or NULL */
    int64_t virtime;        /* clock value, if time_form is 1 and abs_time is NULL */
} ov_request;

/*
 * Carries out a request for the calling user (real uid) and returns an ov_result. Either all identities resolve or
 * nothing is done; from then on a failed one does not stop the others, and the result is the last one's.
 */
OV_API int32_t ov_process_request(const ov_request *request, char **message);

/* The same for identities by number, one for each kind: id_text is not read, and nobody asks whether they exist. */
OV_API int32_t ov_process_numbers(const ov_request *request, const uint32_t *numbers, char **message);

/* Checks a request without opening the control file, and sets *value to the clock value that an add would send. */
OV_API int32_t ov_preview_request(const ov_request *request, int64_t *value, char **message);

/* Delete one user's or group's clock without a message, and return a class as check_rc does. */
OV_API int32_t deleteUserClock(const char *text);
OV_API int32_t deleteGroupClock(const char *text);

/* The class of a result: 0 done, 2 bad request, 3 bad speed, 4 bad time or no clock, 5 anything else. Reentrant. */
OV_API int32_t check_rc(int32_t code);

/*
 * Prints the clocks of this container that uid may see, through an open control file. Returns 0, or what the slot
 * command that failed returned.
 */
OV_API int ovuser_list_user(int fd, int uid);

/* One clock of the table. Set it to zero before the first step. A copy of it can be stepped on from. */
typedef struct ov_clock {
    int32_t kind;        /* enum ov_kind */
    uint32_t id;         /* uid, gid or pid */
    int64_t value;       /* what the clock shows now */
    int64_t origin;      /* where a relative clock starts from, in seconds since the epoch; 0 for none */
    int32_t speed;       /* enum ov_speed */
    int32_t mode;        /* of a relative clock: 0 to 15 */
    int32_t rewind;      /* 1: the date rewinds at midnight */
    uint32_t slot;       /* the slot in the table, from 0 */
    int64_t owner;       /* the effective uid of a process; -1 if unknown, and for other kinds */
    int64_t owner_group; /* likewise its effective gid */
    int32_t named;       /* 1: name is a name; 0: there is none; -1: it could not be looked up */
    char name[1024];     /* the name, cut to 1023 characters, or the number */
    /* The rest is for ov_next_clock; undecided may be read. */
    int32_t undecided; /* clocks left out so far because their process could not be looked up */
    int32_t begun;
    int32_t high_mark;
    int64_t next_slot;
    uint64_t container;
} ov_clock;

/*
 * Steps to the next clock of this container that uid may see, through an open control file. Returns 1, 0 after the last
 * one, and -1 with errno if the kernel does not answer.
 */
OV_API int ov_next_clock(int fd, int uid, ov_clock *clock);

/* What ov_refine_clock sets of a clock; bits. */
enum ov_refinement {
    OV_REFINE_NANOSECONDS = 1, /* 0 to 999999999, added to the instant at which it starts */
    OV_REFINE_UTC_OFFSET = 2,  /* seconds east of UTC, where it has its midnight if it rewinds */
    OV_REFINE_DESCENDANTS = 4, /* a process's: its later descendants live by it, too */
    OV_REFINE_LASTING = 8      /* with the former: it ends with the last of them, not with the process */
};

/*
 * Sets more of a clock that is there, for the calling user, and opens the control file itself. `what` holds
 * ov_refinement bits. Returns 0, or -1 with errno: ENOTTY from a kernel module that cannot, ENOENT without a clock.
 */
OV_API int ov_refine_clock(int32_t kind, uint32_t id, int32_t nanoseconds, int32_t utc_offset, uint32_t what);

/* What is set of a clock by ov_refine_clock. */
typedef struct ov_refined {
    uint32_t what;       /* ov_refinement bits */
    uint32_t id;         /* whose clock it is; 0 for a process that the caller cannot see */
    int32_t generations; /* 0 for a clock of its own, 1 for that of a process's parent, and so on */
    int32_t nanoseconds;
    int32_t utc_offset;
} ov_refined;

/* Tells that of a clock, or of the ancestor's clock by which a process lives. Returns as ov_refine_clock does. */
OV_API int ov_refined_clock(int32_t kind, uint32_t id, ov_refined *refined);

/*
 * Carries out a request, and refines each clock that it adds by the same opening of the control file. `refined` holds
 * the bits, nanoseconds and offset; its id becomes the number of the last identity that was given a clock, 0 if none
 * was. A clock that is there stays as it is. If only the refining fails, the clock is there, too: the result is -1 and
 * errno as of ov_refine_clock. numbers and refined may be NULL. A clock that was added as asked leaves no message, and
 * the stream that zyn_get_container_ID left open last is closed.
 */
OV_API int32_t ov_process_refined(const ov_request *request, const uint32_t *numbers, ov_refined *refined,
                                  char **message);

/* A speed in words, in a static buffer. */
OV_API char *clock_speed_string(int speed);

/* The highest slot in use, negative if there is none; 999, and a line on standard error, if the kernel fails. */
OV_API int zyn_get_usr_high_mark(int fd);

/* Does nothing and returns 0. Reentrant. */
OV_API int zynov_reset_vc(void);

/*
 * The container of this process: the hexadecimal number that /etc/hostname begins with, 0 on the host. Inside a
 * container, every call leaves the stream of that file open.
 */
OV_API uint64_t zyn_get_container_ID(void);

/* 1 if the year, counted from 1900, is a leap year, else 0. Reentrant. */
OV_API int is_leap_year(int year);

/* MMDDhhmmYYYY in local time to a clock value; 0 and a message on failure. */
OV_API int64_t zyn_parse_time(const char *text, char **message);

/* A time in any form that ovuser reads or prints to a clock value; 0 and a message on failure. */
OV_API int64_t ov_read_time(const char *text, char **message);

/*
 * tm_min, tm_hour, tm_mday, tm_mon (1 to 12) and tm_year (1970 to 9999) to a clock value. On failure *message points to
 * a constant, not to be freed. Wrong from 2038-01-21 on, and in leap centuries: see ov_helper(3).
 */
OV_API int64_t zyn_parse_tm_time(const struct tm *record, const char **message);

/* MMDDYYYY at the present time of day to a clock value. On failure 0, a message, and for any other form *code = 809. */
OV_API int64_t parse_Xtime(const char *text, char **message, int *code);

/* Reads a speed from -1000 to 1000. Returns 0, or -1 for any other text. Reentrant. */
OV_API int parse_speed(const char *text, int *speed);

/* The local date of one instant with the local time of day of another; 0 if time_of_day is 0, -1 if mktime fails. */
OV_API int64_t adjust_virtime_for_rewind(int64_t date, int64_t time_of_day);

/*
 * A shift from now, or from origin, to a clock value; each text may be NULL or negative. 0 and a message on failure. A
 * mode other than 0 counts plain seconds and checks no range.
 */
OV_API int64_t parse_reltime(const char *years, const char *days, const char *hours, const char *minutes,
                             const char *origin, char **message, int mode);

/* Resolves a name or number to an existing uid, gid or pid. Returns 0, or -1 and leaves *number alone. */
OV_API int parse_uid(const char *text, int kind, uint32_t *number);

/* The name of a user or group, "UNKNOWN" if there is none, the number for other kinds. A static buffer. */
OV_API char *get_username(int kind, uint32_t number);

/* 1 if the process exists, else 0. Reentrant. */
OV_API int is_pid_alive(int pid);

/* The effective uid of a process, negative on failure. A shell finds it, and a process's name can deceive it. */
OV_API int get_uid_from_pid(int pid);

/* A kind in words. Reentrant. */
OV_API const char *id_string(int kind);

/* The number that a shell command prints first; -1 if it cannot be run, -2 if it prints none. */
OV_API int ov_get_num_from_cmd(const char *command);

/* Prints the two lines of a utility's banner; path is its argv[0]. Returns the length of the second line. */
OV_API int print_header(const char *path);

#ifdef __cplusplus
}

/* The same for a message without const. */
template <typename Text> inline int64_t zyn_parse_tm_time(const struct tm *record, Text **message)
{
    const char *why = "";
    const int64_t value = zyn_parse_tm_time(record, &why);
    if (message && *why)
        *message = const_cast<char *>(why);
    return value;
}
#endif

#endif
