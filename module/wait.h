/* SPDX-License-Identifier: GPL-2.0 */
/*
 * Waits until an instant of the real-time clock: the instant is turned into a
 * real one in the kernel's own copy of it, before the wait begins.
 */
#ifndef ZYNOV_WAIT_H
#define ZYNOV_WAIT_H

#include <linux/hrtimer.h>
#include <linux/ftrace.h>

#include "vclock.h"

struct hrtimer_sleeper *futex_setup_timer_instead(ktime_t *time,
						  struct hrtimer_sleeper *timeout,
						  int flags, u64 range);

/* Each changes what the function is about to be called with. */
void before_nsleep(struct ftrace_regs *regs);
void before_alarm_nsleep(struct ftrace_regs *regs);
void before_mq(struct ftrace_regs *regs);
void before_uring_timeout(struct ftrace_regs *regs);
void before_uring_update(struct ftrace_regs *regs);

/* By what a task's clock goes; false without one. */
bool wait_rate(struct task_struct *task, struct zynov_rate *rate);

/* Whether a clock is the real-time one in some form, and how far it is ahead of that. */
bool wait_is_turned(clockid_t which);
struct timespec64 wait_ahead(clockid_t which);

/* From an instant that such a clock is to show to the real one at which it does. */
void wait_turn(const struct zynov_rate *rate, clockid_t which, struct timespec64 *time);

/*
 * After a change of a clock, or of any if it is NULL: begins a process's waits
 * that are under way again, without an end in between that programs see.
 */
void wait_again(struct pid *pid, const struct vclock *clock);

#endif
