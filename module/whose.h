/* SPDX-License-Identifier: GPL-2.0 */
/*
 * Whose clock a task lives by: a process's own wins over its user's, that over
 * its group's, by effective ids.
 */
#ifndef ZYNOV_WHOSE_H
#define ZYNOV_WHOSE_H

#include <linux/cred.h>
#include <linux/hashtable.h>
#include <linux/mutex.h>
#include <linux/nsproxy.h>
#include <linux/sched/signal.h>
#include <linux/utsname.h>

#include "process.h"

extern struct mutex table_mutex; /* held for changes of the table */

/*
 * Whether there is any clock, and whether there has been one since the module
 * was loaded. Who changes the table says so, then looks at all tasks; who
 * changes what a task is does that, then asks: with a full barrier in between,
 * one of them sees the other.
 */
extern int clocks_in_use;
extern bool table_was_used;

static inline bool table_in_use(void)
{
	return READ_ONCE(clocks_in_use) != 0;
}

/* Clocks of users and groups, by id, and how many they are. */
extern DECLARE_HASHTABLE(users, 10);
extern DECLARE_HASHTABLE(groups, 10);
extern int users_and_groups;

static inline struct hlist_head *user_chain(kuid_t uid)
{
	return &users[hash_min(__kuid_val(uid), HASH_BITS(users))];
}

static inline struct hlist_head *group_chain(kgid_t gid)
{
	return &groups[hash_min(__kgid_val(gid), HASH_BITS(groups))];
}

/* The clock of a user or group, under RCU or the mutex. */
static inline struct vclock *user_clock(kuid_t uid, u64 container)
{
	struct vclock *clock;

	hlist_for_each_entry_rcu(clock, user_chain(uid), node, lockdep_is_held(&table_mutex))
		if (uid_eq(clock->uid, uid) && clock->container == container)
			return clock;
	return NULL;
}

static inline struct vclock *group_clock(kgid_t gid, u64 container)
{
	struct vclock *clock;

	hlist_for_each_entry_rcu(clock, group_chain(gid), node, lockdep_is_held(&table_mutex))
		if (gid_eq(clock->gid, gid) && clock->container == container)
			return clock;
	return NULL;
}

/*
 * A task's container; 0 for the host. A container has a host name of its own: a
 * sandbox that leaves the host its name is none.
 */
u64 container_of_guest(const struct uts_namespace *uts);

static inline u64 container_of_proxy(const struct nsproxy *proxy)
{
	if (!proxy || likely(proxy->uts_ns == &init_uts_ns))
		return 0;
	return container_of_guest(proxy->uts_ns);
}

static inline u64 container_of_current(void)
{
	return container_of_proxy(current->nsproxy);
}

u64 container_of_other(struct task_struct *task);

/* The clock that a task with such ids lives by, or NULL; under RCU. A reading spends half its time here. */
static __always_inline struct vclock *clock_of(struct task_struct *task, const struct cred *cred)
{
	struct vclock *clock = NULL;
	u64 container;

	if (task->flags & PF_KTHREAD)
		return NULL;
	if (processes_in_use())
		clock = process_clock(task->signal, cred->euid);
	if (clock || !READ_ONCE(users_and_groups))
		return clock;
	container = task == current ? container_of_current() : container_of_other(task);
	clock = user_clock(cred->euid, container);
	return clock ?: group_clock(cred->egid, container);
}

static __always_inline struct vclock *clock_of_current(void)
{
	return clock_of(current, current_real_cred());
}

struct vclock *clock_of_task(struct task_struct *task);

/*
 * Whether a change of a clock, or of any if it is NULL, may concern a task; under RCU. Any task may be in a tree, and
 * who changes his ids sees to himself.
 */
bool may_concern(struct task_struct *task, const struct vclock *clock);

/* Under the mutex: counts a clock, and has the tasks find a user's or group's. */
void count_clock(const struct vclock *clock, int by);
void link_identity(struct vclock *clock);

/* The next number in use, with a reference; puts the one before, which may be NULL. */
struct pid *pid_after(struct pid *pid);

/* Visits the processes that a clock may concern, all for NULL, by number: nothing is locked in between. */
void visit_processes(void (*visit)(struct pid *pid, const struct vclock *clock),
		     const struct vclock *clock);

#endif
