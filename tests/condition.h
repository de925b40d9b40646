/* A wait until an instant on a condition that nobody signals. */
#include <pthread.h>
#include <time.h>

static int wait_on_condition(clockid_t attribute, clockid_t source, const struct timespec *until)
{
    pthread_mutex_t own = PTHREAD_MUTEX_INITIALIZER;
    pthread_condattr_t attributes;
    pthread_cond_t condition;
    pthread_condattr_init(&attributes);
    pthread_condattr_setclock(&attributes, attribute);
    pthread_cond_init(&condition, &attributes);
    pthread_mutex_lock(&own);
    return source == attribute ? pthread_cond_timedwait(&condition, &own, until)
                               : pthread_cond_clockwait(&condition, &own, source, until);
}
