/* SPDX-License-Identifier: GPL-2.0 */
/* Where a task may come to live by another clock: its ids, exec, fork, namespaces and host names. */
#ifndef ZYNOV_IDS_H
#define ZYNOV_IDS_H

#include <linux/binfmts.h>
#include <linux/cred.h>
#include <linux/ftrace.h>
#include <linux/pid.h>

#include "vclock.h"

/* In the place of the kernel's. */
int commit_creds_instead(struct cred *new);
void finalize_exec_instead(struct linux_binprm *program);

/* Each notes that the caller may live by another clock when he is back. */
void before_namespaces(struct ftrace_regs *regs);
void before_name_notice(struct ftrace_regs *regs);
void before_name_string(struct ftrace_regs *regs);

/* get_task_pid of a task that kernel_clone has made, and does not run yet. */
struct pid *get_task_pid_instead(struct task_struct *child, enum pid_type type);

/* Once nobody is noted any more: waits until all who were have found their clock. */
void ids_await_returns(void);

/* Waits until all forks that are under way have come to the hook, or failed. False if one does not. */
bool ids_await_forks(void);

#endif
