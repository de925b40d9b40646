/* SPDX-License-Identifier: GPL-2.0 */
/*
 * Whose clock a task lives by: a process's own wins over its user's, that over
 * its group's, by effective ids.
 */
#ifndef ZYNOV_WHOSE_H
#define ZYNOV_WHOSE_H

#include <linux/mutex.h>
#include <linux/sched.h>

#include "vclock.h"

extern struct mutex table_mutex; /* held for changes of the table */

/*
 * Whether there is any clock, and whether there has been one since the module
 * was loaded. Who changes the table says so, then looks at all tasks; who
 * changes what a task is does that, then asks: with a full barrier in between,
 * one of them sees the other.
 */
extern int clocks_in_use;
extern bool table_was_used;

static inline bool table_in_use(void)
{
	return READ_ONCE(clocks_in_use) != 0;
}

/* The clock that a task lives by, or NULL; under RCU. */
struct vclock *clock_of_task(struct task_struct *task);
struct vclock *clock_of_current(void);

/*
 * Whether a change of a clock, or of any if it is NULL, may concern a task; under RCU. Any task may be in a tree, and
 * who changes his ids sees to himself.
 */
bool may_concern(struct task_struct *task, const struct vclock *clock);

/* A task's container; 0 for the host. */
u64 container_of_current(void);

/* Under RCU, or the mutex. */
struct vclock *user_clock(kuid_t uid, u64 container);
struct vclock *group_clock(kgid_t gid, u64 container);

/* Under the mutex: counts a clock, and has the tasks find a user's or group's. */
void count_clock(const struct vclock *clock, int by);
void link_identity(struct vclock *clock);

/* The next number in use, with a reference; puts the one before, which may be NULL. */
struct pid *pid_after(struct pid *pid);

/* Visits the processes that a clock may concern, all for NULL, by number: nothing is locked in between. */
void visit_processes(void (*visit)(struct pid *pid, const struct vclock *clock),
		     const struct vclock *clock);

#endif
