// SPDX-License-Identifier: GPL-2.0
#include <linux/file.h>
#include <linux/io_uring_types.h>
#include <linux/posix-timers.h>
#include <linux/sched/signal.h>
#include <linux/sched/task.h>
#include <linux/sched/task_stack.h>
#include <linux/timekeeping.h>
#include <linux/timerfd.h>
#include <uapi/linux/io_uring.h>
#include <asm/syscall.h>
#include <asm/unistd.h>

#include "compat.h"
#include "wait.h"
#include "whose.h"

/* The real instant at which the caller's clock gets to one; that one without a clock. */
static void to_real(struct timespec64 *time)
{
	struct timespec64 now;
	struct vclock *clock;

	rcu_read_lock();
	clock = clock_of_current();
	if (clock) {
		ktime_get_real_ts64(&now);
		*time = time_of(zynov_real_end(&rcu_dereference(clock->rate)->rate,
					       instant_of(time), instant_of(&now)));
	}
	rcu_read_unlock();
}

static void to_real_of(clockid_t which, struct timespec64 *time)
{
	s64 ahead;

	if (which == CLOCK_REALTIME || which == CLOCK_REALTIME_ALARM) {
		to_real(time);
	} else if (which == CLOCK_TAI) {
		ahead = ktime_to_ns(ktime_mono_to_any(0, TK_OFFS_TAI) -
				    ktime_mono_to_any(0, TK_OFFS_REAL));
		*time = timespec64_sub(*time, ns_to_timespec64(ahead));
		to_real(time);
		*time = timespec64_add(*time, ns_to_timespec64(ahead));
	}
}

static ktime_t ktime_to_real(clockid_t which, ktime_t instant)
{
	struct timespec64 time = ktime_to_timespec64(instant);

	to_real_of(which, &time);
	return timespec64_to_ktime(time);
}

/* The given time stays, since a wait that is begun again has it once more. */
struct hrtimer_sleeper *futex_setup_timer_instead(ktime_t *time,
						  struct hrtimer_sleeper *timeout,
						  int flags, u64 range)
{
	const bool real = flags & FUTEX_OF_REALTIME;

	if (!time)
		return NULL;
	hrtimer_init_sleeper_on_stack(timeout, real ? CLOCK_REALTIME : CLOCK_MONOTONIC,
				      HRTIMER_MODE_ABS);
	hrtimer_set_expires_range_ns(&timeout->timer,
				     real ? ktime_to_real(CLOCK_REALTIME, *time) : *time,
				     range);
	return timeout;
}

/* common_nsleep(which, flags, time) */
void before_nsleep(struct pt_regs *regs)
{
	if (regs->si & TIMER_ABSTIME)
		to_real_of(regs->di, (struct timespec64 *)regs->dx);
}

/* alarm_timer_nsleep(which, flags, time) */
void before_alarm_nsleep(struct pt_regs *regs)
{
	if ((int)regs->si == TIMER_ABSTIME)
		to_real_of(regs->di, (struct timespec64 *)regs->dx);
}

/* common_hrtimer_arm and alarm_timer_arm(timer, expires, absolute, sigev_none) */
void before_timer_arm(struct pt_regs *regs)
{
	const struct k_itimer *timer = (struct k_itimer *)regs->di;

	if (regs->dx & 1)
		regs->si = ktime_to_real(timer->it_clock, regs->si);
}

static bool is_timerfd(const struct file *file)
{
	return file->private_data && !strcmp(file->f_path.dentry->d_name.name, "[timerfd]");
}

/* do_timerfd_settime(descriptor, flags, new, old) */
void before_timerfd(struct pt_regs *regs)
{
	struct itimerspec64 *new = (struct itimerspec64 *)regs->dx;
	struct file *file;

	/* An instant of 0 disarms; what is refused is not looked at. */
	if (!(regs->si & TFD_TIMER_ABSTIME) || !itimerspec64_valid(new) ||
	    (!new->it_value.tv_sec && !new->it_value.tv_nsec))
		return;
	file = fget(regs->di);
	if (!file)
		return;
	if (is_timerfd(file))
		to_real_of(((struct timerfd_beginning *)file->private_data)->clockid,
			   &new->it_value);
	/* It would be disarmed. */
	if (!new->it_value.tv_sec && !new->it_value.tv_nsec)
		new->it_value.tv_nsec = 1;
	fput(file);
}

/* do_mq_timedsend and do_mq_timedreceive(queue, text, length, priority, time) */
void before_mq(struct pt_regs *regs)
{
	struct timespec64 *time = (struct timespec64 *)regs->r8;

	if (time)
		to_real(time);
}

/* io_timeout(request, flags) and io_queue_linked_timeout(request) */
void before_uring_timeout(struct pt_regs *regs)
{
	const struct io_kiocb *request = (struct io_kiocb *)regs->di;
	struct uring_timeout *timeout = request->async_data;

	if (timeout->mode == HRTIMER_MODE_ABS &&
	    (timeout->flags & IORING_TIMEOUT_CLOCK_MASK) == IORING_TIMEOUT_REALTIME)
		to_real(&timeout->ts);
}

/* Calls that may wait until an instant, and are begun again by the kernel when a signal has no handler. */
static bool is_timed_wait(struct task_struct *task, const struct pt_regs *regs)
{
	if (task_thread_info(task)->status & TS_COMPAT) {
		switch ((int)regs->orig_ax) {
		case 0: /* restart_syscall */
		case 279: /* mq_timedsend, mq_timedreceive, and for wider times */
		case 280:
		case 418:
		case 419:
		case 449: /* futex_waitv */
			return true;
		case 267: /* clock_nanosleep, and for wider times */
		case 407:
			return regs->cx & TIMER_ABSTIME;
		case 240: /* futex, and for wider times */
		case 422:
			return regs->si != 0;
		}
		return false;
	}
	switch ((int)regs->orig_ax) {
	case __NR_restart_syscall:
	case __NR_mq_timedsend:
	case __NR_mq_timedreceive:
	case __NR_futex_waitv:
		return true;
	case __NR_clock_nanosleep:
		return regs->si & TIMER_ABSTIME;
	case __NR_futex:
		return regs->r10 != 0;
	}
	return false;
}

/* set_notify_signal, of which the kernel exports the parts. */
static void interrupt(struct task_struct *task)
{
	struct wait_queue_entry entry = { .private = task };

	if (!test_and_set_tsk_thread_flag(task, TIF_NOTIFY_SIGNAL) &&
	    !default_wake_function(&entry, TASK_INTERRUPTIBLE, 0, NULL))
		kick_process(task);
}

/* Who still has memory has a stack, too: he gives up that under the same lock, and this later. */
static bool is_waiting(struct task_struct *task)
{
	bool waiting = false;

	task_lock(task);
	if (task->mm && (READ_ONCE(task->__state) & TASK_INTERRUPTIBLE))
		waiting = is_timed_wait(task, task_pt_regs(task));
	task_unlock(task);
	return waiting;
}

/*
 * As when a real clock is set. A wait that begins meanwhile finds the table as
 * it is now.
 */
void wait_again(const struct vclock *clock)
{
	struct task_struct *process, *task;

	rcu_read_lock();
	for_each_process_thread(process, task)
		if (!(task->flags & PF_KTHREAD) && may_concern(task, clock) && is_waiting(task))
			interrupt(task);
	rcu_read_unlock();
}
