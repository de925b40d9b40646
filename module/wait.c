// SPDX-License-Identifier: GPL-2.0
#include <linux/io_uring_types.h>
#include <linux/sched/signal.h>
#include <linux/sched/task.h>
#include <linux/sched/task_stack.h>
#include <linux/timekeeping.h>
#include <uapi/linux/io_uring.h>
#include <asm/syscall.h>
#include <asm/unistd.h>

#include "arch.h"
#include "compat.h"
#include "wait.h"
#include "whose.h"

bool wait_rate(struct task_struct *task, struct zynov_rate *rate)
{
	struct vclock *clock;

	rcu_read_lock();
	clock = clock_of_task(task);
	if (clock)
		*rate = rcu_dereference(clock->rate)->rate;
	rcu_read_unlock();
	return clock != NULL;
}

bool wait_is_turned(clockid_t which)
{
	return which == CLOCK_REALTIME || which == CLOCK_REALTIME_ALARM || which == CLOCK_TAI;
}

struct timespec64 wait_ahead(clockid_t which)
{
	return ktime_to_timespec64(which == CLOCK_TAI ? ktime_sub(ktime_mono_to_any(0, TK_OFFS_TAI),
								  ktime_mono_to_real(0)) : 0);
}

void wait_turn(const struct zynov_rate *rate, clockid_t which, struct timespec64 *time)
{
	const struct timespec64 ahead = wait_ahead(which);
	struct timespec64 now;

	*time = timespec64_sub(*time, ahead);
	ktime_get_real_ts64(&now);
	*time = time_of(zynov_real_end(rate, instant_of(time), instant_of(&now)));
	*time = timespec64_add(*time, ahead);
}

/* The real instant at which the caller's clock gets to one; that one without a clock. */
static void to_real(clockid_t which, struct timespec64 *time)
{
	struct zynov_rate rate;

	if (!table_in_use() || !wait_is_turned(which) || !wait_rate(current, &rate))
		return;
	/* io_uring takes any number, of which timespec64_sub would take off second by second. */
	if (time->tv_nsec >= NSEC_PER_SEC) {
		time->tv_sec = zynov_saturating_sum(time->tv_sec, time->tv_nsec / NSEC_PER_SEC);
		time->tv_nsec %= NSEC_PER_SEC;
	}
	wait_turn(&rate, which, time);
}

static ktime_t ktime_to_real(ktime_t instant)
{
	struct timespec64 time = ktime_to_timespec64(instant);

	to_real(CLOCK_REALTIME, &time);
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
				     real ? ktime_to_real(*time) : *time,
				     range);
	return timeout;
}

/* common_nsleep(which, flags, time) */
void before_nsleep(struct ftrace_regs *regs)
{
	if (argument(regs, 1) & TIMER_ABSTIME)
		to_real(argument(regs, 0), (struct timespec64 *)argument(regs, 2));
}

/* alarm_timer_nsleep(which, flags, time) */
void before_alarm_nsleep(struct ftrace_regs *regs)
{
	if ((int)argument(regs, 1) == TIMER_ABSTIME)
		to_real(argument(regs, 0), (struct timespec64 *)argument(regs, 2));
}

/* do_mq_timedsend and do_mq_timedreceive(queue, text, length, priority, time) */
void before_mq(struct ftrace_regs *regs)
{
	struct timespec64 *time = (struct timespec64 *)argument(regs, 4);

	if (time)
		to_real(CLOCK_REALTIME, time);
}

/* io_timeout(request, flags) and io_queue_linked_timeout(request) */
void before_uring_timeout(struct ftrace_regs *regs)
{
	const struct io_kiocb *request = (struct io_kiocb *)argument(regs, 0);
	struct uring_timeout *timeout = request->async_data;

	if (timeout->mode == HRTIMER_MODE_ABS &&
	    (timeout->flags & IORING_TIMEOUT_CLOCK_MASK) == IORING_TIMEOUT_REALTIME)
		to_real(CLOCK_REALTIME, &timeout->ts);
}

/* Whether what is updated is of the real-time clock: that stays. */
static bool updates_real(struct io_ring_ctx *ring, const struct uring_update *update)
{
	struct list_head *timeouts = update->linked ? &ring->ltimeout_list : &ring->timeout_list;
	const struct uring_timeout *timeout;
	struct uring_place *place;
	unsigned long flags;
	bool real = false;

	spin_lock_irqsave(&ring->timeout_lock, flags);
	list_for_each_entry(place, timeouts, list) {
		if (cmd_to_io_kiocb(place)->cqe.user_data != update->user_data)
			continue;
		timeout = cmd_to_io_kiocb(place)->async_data;
		real = (timeout->flags & IORING_TIMEOUT_CLOCK_MASK) == IORING_TIMEOUT_REALTIME;
		break;
	}
	spin_unlock_irqrestore(&ring->timeout_lock, flags);
	return real;
}

/* io_timeout_remove(request, flags) */
void before_uring_update(struct ftrace_regs *regs)
{
	struct io_kiocb *request = (struct io_kiocb *)argument(regs, 0);
	struct uring_update *update = io_kiocb_to_cmd(request, struct uring_update);

	if (update->flags & IORING_TIMEOUT_UPDATE && update->flags & IORING_TIMEOUT_ABS &&
	    table_in_use() && updates_real(request->ctx, update))
		to_real(CLOCK_REALTIME, &update->ts);
}

/* Calls that may wait until an instant, and are begun again by the kernel when a signal has no handler. */
static bool is_timed_wait(struct task_struct *task, struct pt_regs *regs)
{
	const int number = syscall_get_nr(task, regs);
	unsigned long arguments[6];

	syscall_get_arguments(task, regs, arguments);
	if (syscall_get_arch(task) == AUDIT_ARCH_32) {
		switch (number) {
		case 0: /* restart_syscall */
		case NR32_mq_timedsend:
		case NR32_mq_timedreceive:
		case 418: /* the same for wider times */
		case 419:
		case 449: /* futex_waitv */
		case 455: /* futex_wait, from 6.7 on */
			return true;
		case NR32_clock_nanosleep:
		case 407:
			return arguments[1] & TIMER_ABSTIME;
		case 240: /* futex, and for wider times */
		case 422:
			return arguments[3] != 0;
		}
		return false;
	}
	switch (number) {
	case __NR_restart_syscall:
	case __NR_mq_timedsend:
	case __NR_mq_timedreceive:
	case __NR_futex_waitv:
	case 455: /* futex_wait, from 6.7 on */
		return true;
	case __NR_clock_nanosleep:
		return arguments[1] & TIMER_ABSTIME;
	case __NR_futex:
		return arguments[3] != 0;
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

/*
 * The task's state does not matter: it may be about to wait, with an instant that
 * has been turned. Its registers are there as long as it has memory, which it
 * gives up under this lock.
 */
static bool may_be_waiting(struct task_struct *task)
{
	bool waiting;

	task_lock(task);
	waiting = task->mm && is_timed_wait(task, task_pt_regs(task));
	task_unlock(task);
	return waiting;
}

/*
 * As when a real clock is set. A wait that begins meanwhile finds the table as
 * it is now.
 */
void wait_again(struct pid *pid, const struct vclock *clock)
{
	struct task_struct *process, *thread;

	rcu_read_lock();
	process = pid_task(pid, PIDTYPE_TGID);
	if (process && !(process->flags & PF_KTHREAD))
		for_each_thread(process, thread)
			if (may_concern(thread, clock) && may_be_waiting(thread))
				interrupt(thread);
	rcu_read_unlock();
}
