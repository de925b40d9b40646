/* SPDX-License-Identifier: GPL-2.0 */
/*
 * Waits until an instant of the real-time clock: the instant is turned into a
 * real one in the kernel's own copy of it, before the wait begins.
 */
#ifndef ZYNOV_WAIT_H
#define ZYNOV_WAIT_H

#include <linux/hrtimer.h>
#include <linux/ptrace.h>

#include "vclock.h"

struct hrtimer_sleeper *futex_setup_timer_instead(ktime_t *time,
						  struct hrtimer_sleeper *timeout,
						  int flags, u64 range);

/* Each changes what the function is about to be called with. */
void before_nsleep(struct pt_regs *regs);
void before_alarm_nsleep(struct pt_regs *regs);
void before_timer_arm(struct pt_regs *regs);
void before_timerfd(struct pt_regs *regs);
void before_mq(struct pt_regs *regs);
void before_uring_timeout(struct pt_regs *regs);

/*
 * After a change of a clock, or of any: has waits that are under way begin
 * again, in the programs' sight without an end in between.
 */
void wait_again(const struct vclock *clock);

#endif
