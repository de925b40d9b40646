// SPDX-License-Identifier: GPL-2.0
#include <linux/kernel.h>
#include <linux/pid_namespace.h>
#include <linux/sched/task.h>
#include <linux/stringhash.h>

#include "whose.h"

DEFINE_MUTEX(table_mutex);
int clocks_in_use;
bool table_was_used;
DEFINE_HASHTABLE(users, 10);
DEFINE_HASHTABLE(groups, 10);
int users_and_groups;

/* The number that a container's name is read as; a hash where that would be the host's. */
static u64 number_of_name(const char *name)
{
	u64 number = 0;
	int i = 0, digit;

	if (name[0] == '0' && (name[1] | 0x20) == 'x')
		i = 2;
	for (; i < __NEW_UTS_LEN && (digit = hex_to_bin(name[i])) >= 0; i++) {
		if (number >> 60)
			return U64_MAX;
		number = number << 4 | digit;
	}
	return number ?: BIT_ULL(63) | full_name_hash(NULL, name, strnlen(name, __NEW_UTS_LEN));
}

u64 container_of_guest(const struct uts_namespace *uts)
{
	if (!strncmp(uts->name.nodename, init_uts_ns.name.nodename, __NEW_UTS_LEN))
		return 0;
	return number_of_name(uts->name.nodename);
}

u64 container_of_other(struct task_struct *task)
{
	u64 container;

	task_lock(task);
	container = container_of_proxy(task->nsproxy);
	task_unlock(task);
	return container;
}

struct vclock *clock_of_task(struct task_struct *task)
{
	return clock_of(task, __task_cred(task));
}

bool may_concern(struct task_struct *task, const struct vclock *clock)
{
	if (!clock || clock->tree)
		return true;
	switch (clock->kind) {
	case ZYNOV_USER:
		return uid_eq(__task_cred(task)->euid, clock->uid);
	case ZYNOV_GROUP:
		return gid_eq(__task_cred(task)->egid, clock->gid);
	default:
		return task_tgid(task) == clock->pid;
	}
}

void count_clock(const struct vclock *clock, int by)
{
	if (clock->kind != ZYNOV_PROCESS)
		WRITE_ONCE(users_and_groups, users_and_groups + by);
	WRITE_ONCE(clocks_in_use, clocks_in_use + by);
	if (by > 0)
		WRITE_ONCE(table_was_used, true);
	smp_mb(); /* before anybody is looked at */
}

void link_identity(struct vclock *clock)
{
	hlist_add_head_rcu(&clock->node, clock->kind == ZYNOV_USER ? user_chain(clock->uid) :
								     group_chain(clock->gid));
}

struct pid *pid_after(struct pid *pid)
{
	const int number = pid ? pid_nr(pid) : 0;

	put_pid(pid);
	rcu_read_lock();
	pid = get_pid(find_ge_pid(number + 1, &init_pid_ns));
	rcu_read_unlock();
	return pid;
}

static bool concerns_any(struct pid *pid, const struct vclock *clock)
{
	struct task_struct *process = pid_task(pid, PIDTYPE_TGID), *thread;

	if (process && !(process->flags & PF_KTHREAD))
		for_each_thread(process, thread)
			if (may_concern(thread, clock))
				return true;
	return false;
}

/* How many processes are looked at before others may run; a look is some 100 instructions. */
#define BATCH 64

/*
 * The next process after a number that a clock may concern, with a reference,
 * or NULL if there is none among the next few. False at the end of all.
 */
static bool find_concerned(int *number, const struct vclock *clock, struct pid **found)
{
	struct pid *pid;
	int looks;

	*found = NULL;
	rcu_read_lock();
	for (looks = 0; looks < BATCH && !*found; looks++) {
		pid = find_ge_pid(*number + 1, &init_pid_ns);
		if (!pid)
			break;
		*number = pid_nr(pid);
		if (concerns_any(pid, clock))
			*found = get_pid(pid);
	}
	rcu_read_unlock();
	return looks == BATCH || *found;
}

void visit_processes(void (*visit)(struct pid *pid, const struct vclock *clock),
		     const struct vclock *clock)
{
	struct pid *pid;
	int number = 0;
	bool more;

	if (clock && clock->kind == ZYNOV_PROCESS && !clock->tree) {
		visit(clock->pid, clock);
		return;
	}
	do {
		more = find_concerned(&number, clock, &pid);
		if (pid)
			visit(pid, clock);
		put_pid(pid);
		cond_resched();
	} while (more);
}
