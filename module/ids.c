// SPDX-License-Identifier: GPL-2.0
#include <linux/delay.h>
#include <linux/resume_user_mode.h>
#include <linux/sched/mm.h>
#include <linux/sched/signal.h>
#include <linux/sched/task.h>
#include <linux/sched/task_stack.h>
#include <linux/slab.h>
#include <linux/task_work.h>
#include <asm/syscall.h>
#include <asm/unistd.h>

#include "arch.h"
#include "ids.h"
#include "inside.h"
#include "process.h"
#include "timers.h"
#include "vvar.h"
#include "whose.h"

/*
 * The caller may live by another clock from now on. Not only while there is
 * one: who deletes the last looks at those alone who might live by it now.
 */
static void find_anew(void)
{
	smp_mb(); /* see table_in_use */
	if (!READ_ONCE(table_was_used) || !current->mm || current->flags & PF_KTHREAD)
		return;
	if (current->mm->context.vdso)
		vvar_forget(current->mm);
	timers_follow_current();
}

int commit_creds_instead(struct cred *new)
{
	const bool changes = !uid_eq(new->euid, current_euid()) ||
			     !gid_eq(new->egid, current_egid());
	int result;

	hook_enter();
	result = commit_creds(new);
	if (changes)
		find_anew();
	hook_leave();
	return result;
}

void finalize_exec_instead(struct linux_binprm *program)
{
	hook_enter();
	finalize_exec(program);
	smp_mb(); /* see table_in_use */
	if (READ_ONCE(table_was_used))
		vvar_begin(current->mm);
	hook_leave();
}

/* How many have yet to find their clock before they are back in user space, and whether anybody ever had. */
static atomic_t returning = ATOMIC_INIT(0);
static bool anybody_returned;

static void find_namespace_anew(struct callback_head *work)
{
	find_anew();
	kfree(work);
	atomic_dec(&returning);
}

/* A name is shared by all in its namespace, and each container's is compared with the host's. */
static void find_name_anew(struct callback_head *work)
{
	smp_mb(); /* see table_in_use */
	if (table_in_use()) {
		vvar_forget_clock(NULL);
		waits_follow(NULL);
	}
	kfree(work);
	atomic_dec(&returning);
}

/*
 * Before the caller is back in user space: what he calls now holds locks, or has
 * yet to make the change. Some kernels keep task_work_add to themselves; its
 * parts are not. Who is in a system call still does such work.
 */
static void before_return(task_work_func_t function)
{
	struct callback_head *work, *next;

	if (!current->mm || current->flags & (PF_KTHREAD | PF_EXITING))
		return;
	work = kmalloc(sizeof(*work), GFP_ATOMIC);
	if (!work) {
		pr_warn_ratelimited("zynov: no memory: process %d finds its clock later\n",
				    task_tgid_nr(current));
		return;
	}
	WRITE_ONCE(anybody_returned, true);
	atomic_inc(&returning);
	init_task_work(work, function);
	next = READ_ONCE(current->task_works);
	do
		work->next = next;
	while (!try_cmpxchg(&current->task_works, &next, work));
	set_notify_resume(current);
}

/* perf_event_namespaces(task), after unshare and setns, and for a child */
void before_namespaces(struct ftrace_regs *regs)
{
	if ((struct task_struct *)argument(regs, 0) == current)
		before_return(find_namespace_anew);
}

/* uts_proc_notify(what), after sethostname */
void before_name_notice(struct ftrace_regs *regs)
{
	before_return(find_name_anew);
}

/* proc_do_uts_string(table, write, ...) */
void before_name_string(struct ftrace_regs *regs)
{
	if ((int)argument(regs, 1))
		before_return(find_name_anew);
}

/* Whether a child that shares its parent's memory lives by another clock. */
static bool is_parted(struct task_struct *child)
{
	bool parted;

	rcu_read_lock();
	parted = clock_of_task(child) != clock_of_task(current);
	rcu_read_unlock();
	return parted;
}

struct pid *get_task_pid_instead(struct task_struct *child, enum pid_type type)
{
	struct pid *pid;

	hook_enter();
	smp_mb(); /* see table_in_use */
	if (READ_ONCE(table_was_used) && child->mm && !(child->flags & PF_KTHREAD)) {
		process_begin(child);
		if (child->mm != current->mm) {
			/* The next child of this parent takes over the mark. */
			if (vvar_begin(child->mm))
				vvar_forget(current->mm);
		} else if (!same_thread_group(child, current) && is_parted(child)) {
			vvar_forget(child->mm);
		}
	}
	pid = get_task_pid(child, type);
	hook_leave();
	return pid;
}

/* Whether a task's last system call is a fork: it may have just begun, or be over. */
static bool is_fork(struct task_struct *task, struct pt_regs *regs)
{
	const bool narrow = syscall_get_arch(task) == AUDIT_ARCH_32;
	unsigned long arguments[6];

	syscall_get_arguments(task, regs, arguments);
	switch (syscall_get_nr(task, regs)) {
	case __NR_clone3:
		return true;
#ifdef __NR_fork
	case __NR_fork:
		return !narrow;
#endif
	case 2: /* fork of 32-bit programs, and 120 their clone */
		return narrow;
	case __NR_clone:
		return !narrow && !(arguments[0] & CLONE_VM);
	case 120:
		return narrow && !(arguments[0] & CLONE_VM);
	}
	return false;
}

static bool may_be_forking(struct pid *pid)
{
	struct task_struct *task = get_pid_task(pid, PIDTYPE_PID);
	bool forking;

	if (!task)
		return false;
	task_lock(task);
	/* Nobody stops before the child is seen. */
	forking = task->mm && !(task->flags & PF_KTHREAD) &&
		  !task_is_stopped_or_traced(task) && is_fork(task, task_pt_regs(task));
	task_unlock(task);
	put_task_struct(task);
	return forking;
}

void ids_await_returns(void)
{
	while (atomic_read(&returning))
		usleep_range(1000, 2000);
	/* Who has counted himself out has left this module after this. */
	if (anybody_returned)
		synchronize_rcu_tasks();
}

bool ids_await_forks(void)
{
	const unsigned long limit = jiffies + 60 * HZ;
	struct pid *pid;

	if (!READ_ONCE(table_was_used))
		return true;
	for (pid = pid_after(NULL); pid; pid = pid_after(pid))
		while (may_be_forking(pid)) {
			if (time_after(jiffies, limit)) {
				put_pid(pid);
				return false;
			}
			usleep_range(1000, 2000);
		}
	return true;
}
