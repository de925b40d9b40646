/* The ways to wait for a length of time, and what they use. */
#include <pthread.h>
#include <signal.h>
#include <time.h>

struct way {
    const char *name;
    int (*wait)(void); /* returns whether it went well */
};
extern const struct way ways[];
extern const size_t way_count;

extern struct timespec length; /* by the clock */
extern int milliseconds, ends[2], files;
extern sigset_t alarms;
extern pthread_mutex_t mutex; /* somebody holds these two */
extern pthread_rwlock_t lock;
