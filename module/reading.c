// SPDX-License-Identifier: GPL-2.0
#include <linux/alarmtimer.h>
#include <linux/capability.h>
#include <linux/compat.h>
#include <linux/time.h>
#include <linux/time_namespace.h>
#include <linux/timekeeping.h>
#include <linux/uaccess.h>
#include <asm/syscall.h>

#include "arch.h"
#include "inside.h"
#include "reading.h"
#include "whose.h"

/* From the real time to the caller's, whose rate is read while it is there. */
static __always_inline void show(struct timespec64 *time)
{
	struct vclock *clock;

	if (!table_in_use())
		return;
	rcu_read_lock_sched(); /* inline, where the other one is two calls */
	clock = clock_of_current();
	if (clock)
		*time = time_of(zynov_shown(&rcu_dereference_sched(clock->rate)->rate,
					    instant_of(time)));
	rcu_read_unlock_sched();
}

int read_realtime(clockid_t which, struct timespec64 *time)
{
	ktime_get_real_ts64(time);
	show(time);
	return 0;
}

/* The instant of the last tick, as time() and the coarse clocks have it in the vDSO. */
int read_coarse(clockid_t which, struct timespec64 *time)
{
	ktime_get_coarse_real_ts64(time);
	show(time);
	return 0;
}

int read_tai(clockid_t which, struct timespec64 *time)
{
	const ktime_t ahead = ktime_mono_to_any(0, TK_OFFS_TAI) - ktime_mono_to_any(0, TK_OFFS_REAL);

	read_realtime(CLOCK_REALTIME, time);
	*time = timespec64_add(*time, ns_to_timespec64(ahead));
	return 0;
}

int read_alarm(clockid_t which, struct timespec64 *time)
{
	if (!alarmtimer_get_rtcdev())
		return -EINVAL;
	if (which == CLOCK_REALTIME_ALARM) {
		read_realtime(CLOCK_REALTIME, time);
	} else {
		ktime_get_boottime_ts64(time);
		timens_add_boottime(time);
	}
	return 0;
}

/* An argument of the caller's system call, in 64 bits or 32. */
static unsigned long call_argument(struct pt_regs *regs, int n)
{
	unsigned long arguments[6];

	syscall_get_arguments(current, regs, arguments);
	return arguments[n];
}

/* These wait for memory of the caller's, and so are counted. */
static long give_time_of_day(struct __kernel_old_timeval __user *tv,
			     struct old_timeval32 __user *tv32,
			     struct timezone __user *zone)
{
	struct timespec64 time;

	read_realtime(CLOCK_REALTIME, &time);
	if (tv && (put_user(time.tv_sec, &tv->tv_sec) ||
		   put_user(time.tv_nsec / NSEC_PER_USEC, &tv->tv_usec)))
		return -EFAULT;
	if (tv32 && (put_user((s32)time.tv_sec, &tv32->tv_sec) ||
		     put_user((s32)(time.tv_nsec / NSEC_PER_USEC), &tv32->tv_usec)))
		return -EFAULT;
	if (zone && copy_to_user(zone, &sys_tz, sizeof(sys_tz)))
		return -EFAULT;
	return 0;
}

long read_gettimeofday(struct pt_regs *regs)
{
	long result;

	hook_enter();
	result = give_time_of_day((void __user *)call_argument(regs, 0), NULL,
				  (void __user *)call_argument(regs, 1));
	hook_leave();
	return result;
}

long read_gettimeofday_32(struct pt_regs *regs)
{
	long result;

	hook_enter();
	result = give_time_of_day(NULL, compat_ptr(call_argument(regs, 0)),
				  compat_ptr(call_argument(regs, 1)));
	hook_leave();
	return result;
}

long read_time(struct pt_regs *regs)
{
	__kernel_old_time_t __user *user = (void __user *)call_argument(regs, 0);
	struct timespec64 time;
	long result;

	hook_enter();
	read_coarse(CLOCK_REALTIME_COARSE, &time);
	result = user && put_user(time.tv_sec, user) ? -EFAULT : time.tv_sec;
	hook_leave();
	return result;
}

long read_time_32(struct pt_regs *regs)
{
	old_time32_t __user *user = compat_ptr(call_argument(regs, 0));
	struct timespec64 time;
	long result;

	hook_enter();
	read_coarse(CLOCK_REALTIME_COARSE, &time);
	result = user && put_user((s32)time.tv_sec, user) ? -EFAULT : (s32)time.tv_sec;
	hook_leave();
	return result;
}

static bool has_clock(void)
{
	bool own;

	rcu_read_lock();
	own = clock_of_current() != NULL;
	rcu_read_unlock();
	return own;
}

/* The real time is not a clocked program's to set. */
int may_set_time(const struct timespec64 *time, const struct timezone *zone)
{
	return !has_clock() && capable(CAP_SYS_TIME) ? 0 : -EPERM;
}

bool changes_time(struct ftrace_regs *regs)
{
	const u32 modes = ((struct __kernel_timex *)argument(regs, 0))->modes;

	if (modes & ADJ_ADJTIME && modes & ADJ_OFFSET_READONLY)
		return false;
	return modes && has_clock();
}

int refuse_adjtimex(struct __kernel_timex *request)
{
	return -EPERM;
}

void before_adjtimex(struct ftrace_regs *regs)
{
	show((struct timespec64 *)argument(regs, 1));
}
