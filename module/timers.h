/* SPDX-License-Identifier: GPL-2.0 */
/*
 * Timers and timerfds that are armed for an instant of the real-time clock:
 * the kernel has the real instant, and this module what was meant by it, so
 * that they follow their clock when it is set, changed or deleted.
 */
#ifndef ZYNOV_TIMERS_H
#define ZYNOV_TIMERS_H

#include <linux/ftrace.h>

#include "vclock.h"

/* Each changes what the function is about to be called with, or notes that a timer goes. */
void before_timer_arm(struct ftrace_regs *regs);
void before_timer_delete(struct ftrace_regs *regs);
void before_timerfd(struct ftrace_regs *regs);
void before_timerfd_release(struct ftrace_regs *regs);

/* After a change of a clock, or of any if it is NULL: waits and timers under way follow. */
void waits_follow(const struct vclock *clock);

/* After a change of who the caller is: his timers follow. */
void timers_follow_current(void);

/* Once the table is empty, and nobody in a hook: those follow who came too late. */
void timers_exit(void);

#endif
