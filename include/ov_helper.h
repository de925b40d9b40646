/*
 * ov_helper: Orvane's administration engine.
 *
 * Gives users, groups and processes virtual clocks of their own, through the control file /proc/zynov of
 * the Orvane kernel module. ov_process_request() is the whole engine; everything else is a piece of it
 * that is useful by itself.
 *
 * Conventions of this interface:
 *
 *  1. One thread. The engine shares one kernel record and a few static texts between calls and takes no
 *     lock: no two calls may overlap. Functions marked "reentrant" are the exceptions.
 *  2. A clock value is a count of seconds since 1970-01-01 00:00:00 UTC. The parsers take dates from 32400 to
 *     253402329599, before they correct them by an hour of daylight saving time or add the seconds of the
 *     minute; parse_reltime checks its final value too, and the kernel module has its own say. 0 means failure.
 *  3. A message slot (char **message) is a pointer to a string pointer that the caller sets to NULL.
 *     The engine may leave one text there, on success too, which the caller shows and gives to free().
 *     A NULL slot means that no message is wanted. When memory for a message runs out the slot is NULL. What the
 *     caller left in the slot is replaced and never freed; but it counts as a pending message, which an add of
 *     several identities may print, and in whose place some failures and the reports of a reset say nothing.
 *  4. Input strings belong to the caller, are NUL-terminated, and are only read.
 *  5. Decimal texts are read as strtol reads them, without a look at what follows the digits, and keep
 *     their low 32 bits, unless the function says otherwise.
 *  6. errno is read after kernel commands, which need not have set it: a stale value of an older call counts.
 *     It is never cleared.
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

/* What a request asks for. 5 to 8, and negative codes, only open and close the control file. */
enum ov_operation {
    OV_ADD = 1,    /* give each identity a clock */
    OV_DELETE = 2, /* take the clock of each identity away */
    OV_LIST = 3,   /* print the clocks that the caller may see on standard output */
    OV_RESET = 4,  /* remove all clocks of this container; superuser only */
    OV_LAST_OPERATION = 8
};

/* Kinds of identity. */
enum ov_kind { OV_USER = 1, OV_GROUP = 2, OV_PROCESS = 3 };

/*
 * Speeds: n above 1 is n times faster, -n is n times slower, 1 and -1 are the normal pace. A clock stands still at
 * 0, shown as "Frozen", and at 1001, shown as "FROZEN", which requests may carry but parse_speed refuses.
 */
enum ov_speed { OV_SPEED_LIMIT = 1000, OV_SPEED_FROZEN = 0, OV_SPEED_STOPPED = 1001 };

enum { OV_MAX_IDENTITIES = 10, OV_ABSOLUTE_FORM = 1 };

/* Results of ov_process_request. Any other value is a failed kernel command's own return, mostly -1. */
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
    OV_KERNEL_ERROR = 813,        /* done, but the kernel module left an error number, and nothing else was said */
    OV_NO_CLOCK = 814,            /* delete: the identity has no clock, or is number 0 */
    OV_ROOT_IDENTITY = 815        /* add: an identity is uid 0 or gid 0 */
};

/*
 * One request. Delete, list and reset read only operation, id_count, id_kind and id_text; the other fields
 * may then be left unset. Only the first id_count entries of the arrays are read.
 */
typedef struct ov_request {
    int32_t operation;       /* enum ov_operation */
    int32_t speed;           /* -1000 to 1001 */
    int32_t time_form;       /* 1: abs_time, else virtime; otherwise x_date, else the relative form */
    int32_t rel_mode;        /* relative form: the mode of parse_reltime, which goes to the kernel too (0 or 1) */
    int32_t rewind;          /* not 0: the clock's date rewinds at midnight; goes to the kernel as it is */
    int32_t id_count;        /* 0 to 10; 0 means the calling user */
    int32_t id_kind[10];     /* enum ov_kind */
    const char *id_text[10]; /* user name or uid, group name or gid, process id */
    const char *abs_time;    /* MMDDhhmmYYYY in local time, or NULL */
    const char *x_date;      /* MMDDYYYY, at the present time of day, or NULL */
    const char *rel_minutes; /* decimal, may be negative, or NULL; so are the next three */
    const char *rel_hours;
    const char *rel_days;
    const char *rel_years;
    const char *rel_origin; /* seconds since the epoch to start from, not after now, or NULL; goes to the kernel */
    int64_t virtime;        /* ready clock value, when time_form is 1 and abs_time is NULL */
} ov_request;

/*
 * Carries out one request for the calling user (real uid; 0 is the superuser) and returns an ov_result.
 * All identities are resolved before anything is sent to the kernel: one that does not exist, or is 0 for add,
 * refuses the request. From then on a failed identity neither stops nor undoes the others, and the result is the
 * last one's. Add prints the messages of all identities but the last on standard output; a failure among those is
 * mostly silent, since it makes no message of its own, and delete keeps no message but the last. So what became of
 * each of several identities is known for sure only from requests of one each. List prints its table on standard
 * output. A NULL request is a bad operation.
 */
OV_API int32_t ov_process_request(const ov_request *request, char **message);

/*
 * What ov_process_request would refuse before it sends anything, without opening the control file: returns OV_OK, or
 * the refusal (also that of a list or reset, which there comes once the file is open) with its message. For an add,
 * *value (not NULL then) is the clock value that would be sent. Of a time that counts from now, that is the value as of
 * this call: to set what was previewed, ask for it as virtime.
 */
OV_API int32_t ov_preview_request(const ov_request *request, int64_t *value, char **message);

/* Delete one user's or one group's clock, name or number, in silence. Returns a class as check_rc does. */
OV_API int32_t deleteUserClock(const char *text);
OV_API int32_t deleteGroupClock(const char *text);

/*
 * Folds a result into a class: 0 done, 1 reserved, 2 bad request, 3 bad speed, 4 bad time or no clock,
 * 5 refused, failed or unknown. Reentrant.
 */
OV_API int32_t check_rc(int32_t code);

/*
 * Prints the clock table of this container on standard output through fd, an open control file: all of it
 * for uid 0, else what concerns uid: its user clock, its processes', and that of the calling process's real
 * group. Processes that have ended and identities without a name are left out. Whose a process is, get_uid_from_pid
 * says, and so for a uid other than 0 the process's name has a part in it. Returns 0, or the return value of the slot
 * command that failed.
 */
OV_API int ovuser_list_user(int fd, int uid);

/*
 * One clock of the table, as ov_next_clock finds it. Set it to zero before the first step, and leave the fields behind
 * the line alone from then on. A copy of it is a place to go on from.
 */
typedef struct ov_clock {
    int32_t kind;        /* enum ov_kind */
    uint32_t id;         /* uid, gid or pid */
    int64_t value;       /* what the clock shows now: a clock value, as of this step; the listing shows the same */
    int64_t origin;      /* the instant that a relative clock counts from, in seconds since the epoch; 0 for none */
    int32_t speed;       /* enum ov_speed */
    int32_t mode;        /* of a relative clock: 0 to 15 */
    int32_t rewind;      /* 1 when the date rewinds at midnight, else 0 */
    uint32_t slot;       /* where in the table it is, from 0 */
    int64_t owner;       /* of a process's clock: its effective uid; else, and when it cannot be told, -1 */
    int64_t owner_group; /* likewise: its effective gid */
    int32_t named;       /* 1: name is a user's or group's; 0: there is none; -1: it could not be looked up */
    char name[1024];     /* that name, cut to 1023 characters, or the number */
    /* ---- */
    int32_t undecided; /* entries so far of which it could not be told whether the caller may see them: left out */
    int32_t begun;
    int32_t high_mark;
    int64_t next_slot;
    uint64_t container;
} ov_clock;

/*
 * Steps to the next clock of this container that uid may see, through fd, an open control file: for uid 0 all, for
 * others their own, that of the calling process's real group, and those of their processes. Processes that have ended
 * are left out. Unlike the listing, it looks for a process's owner in /proc itself, and numbers without a name count.
 * Returns 1 with the clock filled in, 0 behind the last one, and -1 when the kernel did not answer, with errno as it
 * left it (begun is still 0 when that was at the first question). clock must not be NULL; nothing in it is for free().
 * A change of the table between two steps is seen or not.
 */
OV_API int ov_next_clock(int fd, int uid, ov_clock *clock);

/* The words for a speed. A static buffer of 1024 bytes, overwritten by the next call. */
OV_API char *clock_speed_string(int speed);

/*
 * The highest table slot in use, negative when there is none. When the kernel does not answer, or errno
 * holds EILSEQ after an answer, says so on standard error and returns 999.
 */
OV_API int zyn_get_usr_high_mark(int fd);

/* Does nothing and returns 0. Reentrant. */
OV_API int zynov_reset_vc(void);

/*
 * The container this process runs in: the hexadecimal digits that /etc/hostname begins with, 0 on the host. Root of
 * the container may write another name there, and so reach the clocks of other containers and, with a name that
 * begins with no such digit, of the host: this keeps clocks apart, but is no barrier. Every call inside a container
 * leaves the stream of that file open.
 */
OV_API uint64_t zyn_get_container_ID(void);

/* 1 if the year, counted from 1900, is a leap year, else 0. Reentrant. */
OV_API int is_leap_year(int year);

/* MMDDhhmmYYYY in local time to a clock value; 0 on failure, with a message in the slot. */
OV_API int64_t zyn_parse_time(const char *text, char **message);

/*
 * A time in any form that ovuser takes or prints to a clock value; 0 on failure, with a message in the slot. Fields
 * have all their digits, and nothing may follow:
 *
 *   MMDDhhmmYYYY, YYYY-MM-DD hh:mm      local time, as zyn_parse_time reads it
 *   YYYY-MM-DD hh:mm:ss                 local time; where the hour comes twice, in standard time
 *   Wed Dec 25 09:00:00 2030            the same as ctime writes it
 *   YYYY-MM-DD hh:mm:ss+hh:mm, or Z     with the offset from UTC; the seconds may be missing
 *   @SECONDS                            since the epoch
 *   now
 *
 * A T may stand for the blank before hh, and a fraction behind ss, which is cut off. Years may have five digits where
 * there are seconds or an offset.
 */
OV_API int64_t ov_read_time(const char *text, char **message);

/*
 * The same as zyn_parse_time from numbers: tm_min, tm_hour, tm_mday, tm_mon (1 to 12) and tm_year (the full year, 1970
 * to 9999). Has no range check, takes 2000, 2400, ... for common years and 2100, 2500, ... for leap years, and counts
 * seconds of whole days in 32 bits. On failure returns 0 and points *message at a constant text, which must not be
 * freed; 0 without one is a value, such as that of the epoch itself.
 */
OV_API int64_t zyn_parse_tm_time(const struct tm *record, const char **message);

/*
 * MMDDYYYY at the present local time of day to a clock value; 0 on failure, with a message in the slot.
 * *code becomes 809 when the text is NULL or not eight characters long and is else left alone; code must
 * not be NULL.
 */
OV_API int64_t parse_Xtime(const char *text, char **message, int *code);

/*
 * Reads a speed, -1000 to 1000, into *speed (not NULL) and returns 0; -1 when anything follows the number or
 * it is out of range, with *speed then holding what was read, or when text is NULL. Reentrant.
 */
OV_API int parse_speed(const char *text, int *speed);

/*
 * The local date of one instant with the local time of day of another, in seconds since the epoch; 0 when
 * time_of_day is 0, and mktime's -1 when that fails.
 */
OV_API int64_t adjust_virtime_for_rewind(int64_t date, int64_t time_of_day);

/*
 * A distance from now to a clock value; each text may be NULL and negative. The move is made on the local wall
 * clock, and one of whole days keeps the hour across a change of daylight saving time by an hour (unless midnight
 * lies in between). From an origin (seconds since the epoch, not later than now), or with a non-zero mode, the
 * distance is plain seconds; without an origin, the mode adds the seconds of the present minute once more. A
 * non-zero mode checks no range, with an origin too. 0 on failure, with a message in the slot; with a non-zero mode, 0
 * without one is a value, such as that of the epoch itself.
 */
OV_API int64_t parse_reltime(const char *years, const char *days, const char *hours, const char *minutes,
                             const char *origin, char **message, int mode);

/*
 * Resolves a name or a number of the given kind to an existing uid, gid or pid. Returns 0, or -1 with
 * *number (not NULL) untouched. Names win over numbers; nothing may follow a number, of which the low 32 bits count
 * and are what *number becomes. The empty text is the number 0, and so names root.
 */
OV_API int parse_uid(const char *text, int kind, uint32_t *number);

/*
 * The user's or group's name, "UNKNOWN" when there is none, or the number for any other kind. A static buffer of
 * 1024 bytes, overwritten by the next call.
 */
OV_API char *get_username(int kind, uint32_t number);

/* 1 if the process exists, else 0. Reentrant. */
OV_API int is_pid_alive(int pid);

/*
 * The effective uid of a process, or negative when it cannot be told, as a shell with cat, grep and awk finds it: in
 * the first line of the process's status that has the word Uid in it. A process chooses its name, which stands above:
 * one that is called "Uid 1000" poses as a process of uid 1000.
 */
OV_API int get_uid_from_pid(int pid);

/* The kind in words, a constant text. Reentrant. */
OV_API const char *id_string(int kind);

/* The number that a shell command prints first: -1 when it cannot be run, -2 when it prints none. */
OV_API int ov_get_num_from_cmd(const char *command);

/*
 * Prints the two lines with which a utility introduces itself on standard output; path is its argv[0].
 * Returns the number of characters in the second line.
 */
OV_API int print_header(const char *path);

#ifdef __cplusplus
}

/* The same for a message without const: it is a constant all the same. */
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
