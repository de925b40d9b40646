/* SPDX-License-Identifier: GPL-2.0 */
/*
 * What timers were armed for: the kernel knows the real instant, this the one
 * that the program gave, and by whose clock.
 */
#ifndef ZYNOV_ARMED_H
#define ZYNOV_ARMED_H

#include <linux/sched.h>

#include "compat.h"
#include "vclock.h"

/* By what a clock goes, if there is one. */
struct lives_by {
	bool clock;
	struct zynov_rate rate;
};

/* A timer, with its lock held. */
struct timer_seen {
	union any_timer *timer;
	clockid_t which;
	bool absolute; /* as far as can be seen */
	bool silent;   /* it never expires, but is asked */
};

/* The caller arms a timer for an instant; returns the real one. */
ktime_t armed_note(const union any_timer *timer, clockid_t which, ktime_t instant);
void armed_forget(const union any_timer *timer);
void armed_forget_all(void);

/*
 * Has a timer of a task's, which now lives by this, expire at the instant for
 * which it was armed. Whether it lived by something else then.
 */
bool armed_follow(const struct timer_seen *seen, struct task_struct *task,
		  const struct lives_by *by);

#endif
