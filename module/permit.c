// SPDX-License-Identifier: GPL-2.0
#include <linux/cred.h>
#include <linux/moduleparam.h>
#include <linux/sched.h>

#include "permit.h"
#include "whose.h"

static bool own_processes;
module_param(own_processes, bool, 0644);
MODULE_PARM_DESC(own_processes,
		 "let ordinary users give clocks to processes of their own only");

bool permit_all(void)
{
	return uid_eq(current_uid(), GLOBAL_ROOT_UID);
}

bool permit_own_only(void)
{
	return READ_ONCE(own_processes) && !permit_all();
}

/*
 * A daemon that is the caller for a moment is itself again later, and not his.
 * The clock of a process that has ended is its giver's.
 */
static bool is_own_process(struct pid *pid, kuid_t giver)
{
	const kuid_t uid = current_uid();
	struct task_struct *task;
	const struct cred *cred;
	bool own;

	rcu_read_lock();
	task = pid_task(pid, PIDTYPE_TGID);
	if (task) {
		cred = __task_cred(task);
		own = uid_eq(cred->uid, uid) && uid_eq(cred->euid, uid) &&
		      uid_eq(cred->suid, uid);
	} else {
		own = uid_eq(giver, uid);
	}
	rcu_read_unlock();
	return own;
}

int permit_change(const struct target *target)
{
	if (permit_all())
		return 0;
	switch (target->kind) {
	case ZYNOV_USER:
		return uid_eq(target->uid, current_uid()) ? 0 : -EPERM;
	case ZYNOV_PROCESS:
		if (own_processes && target->pid && !is_own_process(target->pid, INVALID_UID))
			return -EPERM;
		return 0;
	default:
		return -EPERM;
	}
}

int permit_ask(const struct target *target)
{
	bool may = permit_all();

	if (target->kind == ZYNOV_USER)
		may |= uid_eq(target->uid, current_uid());
	else if (target->kind == ZYNOV_GROUP)
		may |= gid_eq(target->gid, current_gid());
	else if (target->kind == ZYNOV_PROCESS)
		may |= !target->pid || is_own_process(target->pid, INVALID_UID);
	return may ? 0 : -EPERM;
}

bool permit_see(const struct vclock *clock)
{
	const u64 container = container_of_current();

	if (container && clock->container != container)
		return false;
	if (permit_all())
		return true;
	switch (clock->kind) {
	case ZYNOV_USER:
		return uid_eq(clock->uid, current_uid());
	case ZYNOV_GROUP:
		return gid_eq(clock->gid, current_gid());
	default:
		return is_own_process(clock->pid, clock->giver);
	}
}

int permit_container(u64 *container)
{
	const u64 own = container_of_current();

	if (!own || *container == own)
		return 0;
	if (*container)
		return -EPERM;
	/* Who does not know his container sends 0, and can mean no other than it. */
	*container = own;
	return 0;
}
