// SPDX-License-Identifier: GPL-2.0
#include <linux/delay.h>
#include <linux/fdtable.h>
#include <linux/file.h>
#include <linux/magic.h>
#include <linux/poll.h>
#include <linux/posix-timers.h>
#include <linux/sched/signal.h>
#include <linux/sched/task.h>
#include <linux/timerfd.h>

#include "arch.h"
#include "armed.h"
#include "timers.h"
#include "wait.h"
#include "whose.h"

/* common_hrtimer_arm and alarm_timer_arm(timer, expires, absolute, sigev_none), under the timer's lock */
void before_timer_arm(struct ftrace_regs *regs)
{
	const struct k_itimer *timer = (struct k_itimer *)argument(regs, 0);
	const union any_timer *at = (const union any_timer *)&timer->it;

	if (argument(regs, 2) & 1 && wait_is_turned(timer->it_clock))
		argument(regs, 1) = armed_note(at, timer->it_clock, argument(regs, 1));
	else
		armed_forget(at);
}

/* common_timer_del(timer), under its lock */
void before_timer_delete(struct ftrace_regs *regs)
{
	const struct k_itimer *timer = (struct k_itimer *)argument(regs, 0);

	armed_forget((const union any_timer *)&timer->it);
}

/* Other file systems have names that users give. */
static struct timerfd_beginning *timerfd_of(const struct file *file)
{
	const struct dentry *entry = file->f_path.dentry;

	return entry->d_sb->s_magic == ANON_INODE_FS_MAGIC &&
	       !strcmp(entry->d_name.name, "[timerfd]") ? file->private_data : NULL;
}

/* do_timerfd_settime(descriptor, flags, new, old) */
void before_timerfd(struct ftrace_regs *regs)
{
	struct itimerspec64 *new = (struct itimerspec64 *)argument(regs, 2);
	struct timerfd_beginning *timerfd;
	struct file *file;

	if ((int)argument(regs, 1) & ~TFD_SETTIME_FLAGS || !itimerspec64_valid(new))
		return;
	file = fget(argument(regs, 0));
	timerfd = file ? timerfd_of(file) : NULL;
	/* An instant of 0 disarms. */
	if (timerfd && argument(regs, 1) & TFD_TIMER_ABSTIME && wait_is_turned(timerfd->clockid) &&
	    (new->it_value.tv_sec || new->it_value.tv_nsec)) {
		new->it_value = ktime_to_timespec64(armed_note(&timerfd->t, timerfd->clockid,
							timespec64_to_ktime(new->it_value)) ?: 1);
	} else if (timerfd) {
		armed_forget(&timerfd->t);
	}
	if (file)
		fput(file);
}

/* timerfd_release(inode, file) */
void before_timerfd_release(struct ftrace_regs *regs)
{
	armed_forget(&((struct timerfd_beginning *)((struct file *)argument(regs, 1))->private_data)->t);
}

static void follow_timer(struct k_itimer *timer, struct task_struct *process,
			 const struct lives_by *by)
{
	const struct timer_seen seen = {
		.timer = (union any_timer *)&timer->it,
		.which = timer->it_clock,
		/* One for a length has the base of another clock; of the others it is not known. */
		.absolute = timer->it_clock == CLOCK_REALTIME &&
			    timer->it.real.timer.base->clockid == CLOCK_REALTIME,
		.silent = timer->it_sigev_notify == SIGEV_NONE,
	};

	armed_follow(&seen, process, by);
}

/*
 * False if a timer was locked: who does that may be waiting for the signals. Or
 * an exec has replaced these.
 */
static bool try_timers(struct task_struct *process, const struct lives_by *by)
{
	struct sighand_struct *sighand = rcu_dereference(process->sighand);
	struct k_itimer *timer;
	unsigned long flags;
	bool tried;

	if (!sighand)
		return true;
	spin_lock_irqsave(&sighand->siglock, flags);
	tried = sighand == rcu_access_pointer(process->sighand);
	if (!tried)
		goto unlock;
	for_each_timer(timer, process) {
		if (!wait_is_turned(timer->it_clock))
			continue;
		if (!spin_trylock(&timer->it_lock)) {
			tried = false;
			continue;
		}
		follow_timer(timer, process, by);
		spin_unlock(&timer->it_lock);
	}
unlock:
	spin_unlock_irqrestore(&sighand->siglock, flags);
	return tried;
}

/* The files of a process's threads, from where the batch before ended. */
struct files_seen {
	struct pid *pid;
	struct task_struct *process;
	struct lives_by by;
	struct task_struct *thread; /* with a reference */
	unsigned int descriptor;
	const struct files_struct *last; /* whose threads mostly follow each other */
	int left; /* of this batch */
	int restarts;
};

#define CANCELLED_WHEN_SET (TFD_TIMER_ABSTIME | TFD_TIMER_CANCEL_ON_SET)

static void follow_timerfd(struct timerfd_beginning *timerfd, const struct files_seen *files)
{
	unsigned long flags;

	spin_lock_irqsave(&timerfd->wqh.lock, flags);
	const struct timer_seen seen = {
		.timer = &timerfd->t,
		.which = timerfd->clockid,
		.absolute = timerfd->settime_flags & TFD_TIMER_ABSTIME,
	};
	if (armed_follow(&seen, files->process, &files->by) &&
	    (timerfd->settime_flags & CANCELLED_WHEN_SET) == CANCELLED_WHEN_SET &&
	    timerfd->clockid != CLOCK_TAI) {
		/* As when the real clock is set. */
		timerfd->moffs = KTIME_MAX;
		timerfd->ticks++;
		wake_up_locked_poll(&timerfd->wqh, EPOLLIN);
	}
	spin_unlock_irqrestore(&timerfd->wqh.lock, flags);
}

/* What it returns is not 0 at the end of the batch. */
static int follow_file(const void *argument, struct file *file, unsigned int descriptor)
{
	struct timerfd_beginning *timerfd = timerfd_of(file);
	struct files_seen *files = (struct files_seen *)argument;

	if (timerfd && wait_is_turned(timerfd->clockid))
		follow_timerfd(timerfd, files);
	files->descriptor = descriptor + 1;
	return --files->left <= 0;
}

/* Under RCU: goes on with another thread. */
static void go_on_with(struct files_seen *files, struct task_struct *thread)
{
	get_task_struct(thread);
	put_task_struct(files->thread);
	files->thread = thread;
	files->descriptor = 0;
}

/* Under RCU: a batch of descriptors and threads. False after the last. */
static bool follow_batch(struct files_seen *files)
{
	/* What comes after a thread that has ended is not known. */
	if (!pid_alive(files->thread)) {
		struct task_struct *first = pid_task(files->pid, PIDTYPE_TGID);

		if (!first || files->restarts++ == 10)
			return false;
		go_on_with(files, first);
	}
	for (files->left = 1000; files->left > 0; files->left--) {
		struct task_struct *thread = files->thread;
		int is_over = 0;

		task_lock(thread);
		if (thread->files && (files->descriptor || thread->files != files->last))
			is_over = iterate_fd(thread->files, files->descriptor, follow_file, files);
		files->last = thread->files;
		task_unlock(thread);
		if (is_over)
			break;
		thread = next_thread(thread);
		if (thread_group_leader(thread))
			return false;
		go_on_with(files, thread);
	}
	return true;
}

/* A process may have half a million descriptors, and each thread its own: others run in between. */
static void follow_files(struct pid *pid, struct task_struct *process,
			 const struct lives_by *by)
{
	struct files_seen files = { .pid = pid, .process = process, .by = *by,
				    .thread = get_task_struct(process) };
	bool more;

	do {
		rcu_read_lock();
		more = follow_batch(&files);
		rcu_read_unlock();
		cond_resched();
	} while (more);
	put_task_struct(files.thread);
}

/* Tries for a process's timers. One that is locked at each of them is left as it is. */
#define PATIENCE 1000

static void follow_process(struct pid *pid, const struct vclock *clock)
{
	struct task_struct *process;
	struct lives_by by;
	bool concerned, tried = false;
	int tries;

	rcu_read_lock();
	process = pid_task(pid, PIDTYPE_TGID);
	concerned = process && !(process->flags & PF_KTHREAD) && may_concern(process, clock);
	if (concerned)
		get_task_struct(process);
	rcu_read_unlock();
	if (!concerned)
		return;
	by.clock = wait_rate(process, &by.rate);
	for (tries = 0; tries < PATIENCE && !tried; tries++) {
		if (tries)
			usleep_range(50, 100);
		rcu_read_lock();
		tried = try_timers(process, &by);
		rcu_read_unlock();
	}
	follow_files(pid, process, &by);
	put_task_struct(process);
}

static void follow(struct pid *pid, const struct vclock *clock)
{
	wait_again(pid, clock);
	follow_process(pid, clock);
}

void waits_follow(const struct vclock *clock)
{
	visit_processes(follow, clock);
}

/* Of the caller, whose ids or container have changed. */
void timers_follow_current(void)
{
	follow_process(task_tgid(current), NULL);
}

void timers_exit(void)
{
	visit_processes(follow_process, NULL);
	armed_forget_all();
}
