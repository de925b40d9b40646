// SPDX-License-Identifier: GPL-2.0
#include <linux/cred.h>
#include <linux/hashtable.h>
#include <linux/nsproxy.h>
#include <linux/pid_namespace.h>
#include <linux/sched/signal.h>
#include <linux/sched/task.h>
#include <linux/stringhash.h>
#include <linux/utsname.h>

#include "process.h"
#include "whose.h"

DEFINE_MUTEX(table_mutex);
int clocks_in_use;
bool table_was_used;

static DEFINE_HASHTABLE(identities, 8); /* clocks of users and groups */
static int users_and_groups;

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

/*
 * A container has a host name of its own. A sandbox that leaves the host its
 * name is none.
 */
static u64 container_of_names(const struct uts_namespace *uts)
{
	if (uts == &init_uts_ns ||
	    !strncmp(uts->name.nodename, init_uts_ns.name.nodename, __NEW_UTS_LEN))
		return 0;
	return number_of_name(uts->name.nodename);
}

u64 container_of_current(void)
{
	const struct nsproxy *proxy = current->nsproxy;

	return proxy ? container_of_names(proxy->uts_ns) : 0;
}

static u64 container_of_task(struct task_struct *task)
{
	u64 container = 0;

	if (task == current)
		return container_of_current();
	task_lock(task);
	if (task->nsproxy)
		container = container_of_names(task->nsproxy->uts_ns);
	task_unlock(task);
	return container;
}

static struct hlist_head *chain_of(enum zynov_kind kind, u32 id)
{
	return &identities[hash_min(id ^ (u32)kind << 30, HASH_BITS(identities))];
}

struct vclock *user_clock(kuid_t uid, u64 container)
{
	struct vclock *clock;

	hlist_for_each_entry_rcu(clock, chain_of(ZYNOV_USER, __kuid_val(uid)), node,
				 lockdep_is_held(&table_mutex))
		if (clock->kind == ZYNOV_USER && uid_eq(clock->uid, uid) &&
		    clock->container == container)
			return clock;
	return NULL;
}

struct vclock *group_clock(kgid_t gid, u64 container)
{
	struct vclock *clock;

	hlist_for_each_entry_rcu(clock, chain_of(ZYNOV_GROUP, __kgid_val(gid)), node,
				 lockdep_is_held(&table_mutex))
		if (clock->kind == ZYNOV_GROUP && gid_eq(clock->gid, gid) &&
		    clock->container == container)
			return clock;
	return NULL;
}

struct vclock *clock_of_task(struct task_struct *task)
{
	const struct cred *cred = __task_cred(task);
	struct vclock *clock;
	u64 container;

	if (task->flags & PF_KTHREAD)
		return NULL;
	clock = process_clock(task->signal, cred->euid);
	if (clock || !READ_ONCE(users_and_groups))
		return clock;
	container = container_of_task(task);
	clock = user_clock(cred->euid, container);
	return clock ?: group_clock(cred->egid, container);
}

struct vclock *clock_of_current(void)
{
	return table_in_use() ? clock_of_task(current) : NULL;
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
	const u32 id = clock->kind == ZYNOV_USER ? __kuid_val(clock->uid) :
						   __kgid_val(clock->gid);

	hlist_add_head_rcu(&clock->node, chain_of(clock->kind, id));
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

void visit_processes(void (*visit)(struct pid *pid, const struct vclock *clock),
		     const struct vclock *clock)
{
	struct pid *pid;

	if (clock && clock->kind == ZYNOV_PROCESS && !clock->tree) {
		visit(clock->pid, clock);
		return;
	}
	for (pid = pid_after(NULL); pid; pid = pid_after(pid)) {
		visit(pid, clock);
		cond_resched();
	}
}
