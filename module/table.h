/* SPDX-License-Identifier: GPL-2.0 */
/* The table of clocks, and what the commands do to it. They take its mutex themselves. */
#ifndef ZYNOV_TABLE_H
#define ZYNOV_TABLE_H

#include "permit.h"

/* Each returns 0 or a negative errno. */
int table_add(const struct zynov_iov *record, const struct target *target);
int table_delete(const struct target *target);
int table_reset(u64 container);
int table_get(struct zynov_iov *record);
s64 table_high_mark(void);

void table_lose_ended(void); /* clocks of processes that have ended; sleeps */
void table_empty(void);	     /* at the end: everybody is back in real time */

/* Under the mutex. */
struct vclock *table_find(const struct target *target);
struct vclock_rate *table_make_rate(const struct zynov_clock *set);
void table_lose_ended_locked(void);

/* The caller's number for whose clock it is; 0 where his namespaces have none. */
s64 table_id(const struct vclock *clock);

#endif
