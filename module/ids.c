// SPDX-License-Identifier: GPL-2.0
#include <linux/sched/mm.h>
#include <linux/sched/signal.h>

#include "ids.h"
#include "inside.h"
#include "process.h"
#include "vvar.h"
#include "whose.h"

int commit_creds_instead(struct cred *new)
{
	const bool changes = !uid_eq(new->euid, current_euid()) ||
			     !gid_eq(new->egid, current_egid());
	int result;

	hook_enter();
	result = commit_creds(new);
	smp_mb(); /* see table_in_use */
	if (changes && table_in_use() && current->mm && current->mm->context.vdso &&
	    !(current->flags & PF_KTHREAD))
		vvar_forget(current->mm);
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
