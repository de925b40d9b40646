// SPDX-License-Identifier: GPL-2.0
#include <linux/proc_fs.h>
#include <linux/uaccess.h>

#include "permit.h"
#include "proc.h"
#include "refine.h"
#include "table.h"

static void find_process(s64 number, struct target *target)
{
	target->number = number;
	target->pid = find_get_pid(number);
	/* That of one that has ended stays as long as a group or session has it. */
	if (target->pid && !pid_has_task(target->pid, PIDTYPE_TGID)) {
		put_pid(target->pid);
		target->pid = NULL;
	}
}

/*
 * Whom a command names, by numbers of the caller's namespaces. A process that
 * is not there is a NULL; a reference is kept to one that is.
 */
static int find_target(const struct zynov_iov *record, u64 kind,
		       struct target *target)
{
	const bool narrow = record->id == (s32)record->id ||
			    record->id == (u32)record->id;

	*target = (struct target){ .kind = kind, .uid = INVALID_UID,
				   .gid = INVALID_GID,
				   .container = record->container_id };
	if (kind == ZYNOV_USER && narrow)
		target->uid = make_kuid(current_user_ns(), record->id);
	else if (kind == ZYNOV_GROUP && narrow)
		target->gid = make_kgid(current_user_ns(), record->id);
	else if (kind == ZYNOV_PROCESS && record->id > 0 && record->id <= INT_MAX)
		find_process(record->id, target);
	return permit_container(&target->container);
}

static int add(struct zynov_iov *record)
{
	const u64 kind = record->flags & ZYNOV_KIND_MASK;
	struct target target;
	int error;

	if (kind == ZYNOV_NO_KIND || kind > ZYNOV_PROCESS || !record->id)
		return -EDOM;
	error = find_target(record, kind, &target) ?: permit_change(&target) ?:
		table_add(record, &target);
	put_pid(target.pid);
	return error;
}

static int delete(struct zynov_iov *record)
{
	struct target target;
	int error = find_target(record, record->vtime, &target) ?: permit_change(&target) ?:
		    table_delete(&target);

	put_pid(target.pid);
	return error;
}

static int reset(struct zynov_iov *record)
{
	u64 container = record->container_id;

	if (!permit_all())
		return -EPERM;
	return permit_container(&container) ?: table_reset(container);
}

static int get_slot(struct zynov_iov *record)
{
	return table_get(record);
}

static int high_mark(struct zynov_iov *record)
{
	record->speed = table_high_mark();
	return 0;
}

static int refine(struct zynov_iov *record)
{
	struct target target;
	int error = find_target(record, record->flags & ZYNOV_KIND_MASK, &target);

	if (!error)
		error = record->spare ? permit_change(&target) : permit_ask(&target);
	if (!error)
		error = table_refine(record, &target);
	put_pid(target.pid);
	return error;
}

static const struct command {
	unsigned int number;
	int (*run)(struct zynov_iov *record);
} commands[] = {
	{ ZYNOV_IOC_ADD_CLOCK, add },
	{ ZYNOV_IOC_DELETE_CLOCK, delete },
	{ ZYNOV_IOC_GET_SLOT, get_slot },
	{ ZYNOV_IOC_RESET_ALL, reset },
	{ ZYNOV_IOC_HIGH_MARK, high_mark },
	{ ZYNOV_IOC_REFINE_CLOCK, refine },
};

static long proc_ioctl(struct file *file, unsigned int number, unsigned long argument)
{
	void __user *user = (void __user *)argument;
	const struct command *command = commands;
	struct zynov_iov record, sent;
	int error;

	while (command->number != number)
		if (++command == commands + ARRAY_SIZE(commands))
			return -ENOTTY;
	if (copy_from_user(&record, user, sizeof(record)))
		return -EFAULT;
	if (record.version != ZYNOV_IOV_VERSION)
		return -EILSEQ;
	sent = record;
	error = command->run(&record);
	if (memcmp(&record, &sent, sizeof(record)) &&
	    copy_to_user(user, &record, sizeof(record)))
		return -EFAULT;
	return error;
}

static const struct proc_ops file_operations = {
	.proc_ioctl = proc_ioctl,
#ifdef CONFIG_COMPAT
	.proc_compat_ioctl = proc_ioctl, /* the record has one layout */
#endif
	.proc_lseek = noop_llseek,
};

int proc_init(void)
{
	if (proc_create("zynov", 0444, NULL, &file_operations))
		return 0;
	pr_err("zynov: cannot make /proc/zynov\n");
	return -ENOMEM;
}

void proc_exit(void)
{
	remove_proc_entry("zynov", NULL);
}
