/* SPDX-License-Identifier: GPL-2.0 */
/*
 * The processes that have clocks of their own, or live by those of their
 * ancestors. A process is told by its signal_struct, which all its threads
 * share, which survives exec and which nothing else has.
 */
#ifndef ZYNOV_PROCESS_H
#define ZYNOV_PROCESS_H

#include <linux/sched.h>

#include "vclock.h"

int process_init(void);
void process_exit(void);

extern atomic_t member_count;

/* Whether any process has a clock, or lives by one that was passed on. */
static inline bool processes_in_use(void)
{
	return atomic_read(&member_count) != 0;
}

/* The clock of a process that has a thread of such a user, under RCU. */
struct vclock *process_clock(struct signal_struct *process, kuid_t euid);

/*
 * The clock of a process that lives by an ancestor's, how many generations up
 * that is; under RCU.
 */
struct vclock *process_inherited(struct task_struct *process, int *generations);

/*
 * Give and take a process its own clock, and pass that on; under the mutex.
 * The last returns 1 when it goes to descendants that an earlier one had.
 */
int process_give(struct pid *pid, struct vclock *clock);
void process_take(struct vclock *clock);
int process_pass_on(struct vclock *clock, bool lasting);

/* Whether a process's clock is over, and whether some still live in its tree. */
bool process_has_ended(const struct vclock *clock);
bool process_has_heirs(const struct vclock *clock);

/* A new process, before it runs, in the context of who made it. */
void process_begin(struct task_struct *child);

#endif
