// SPDX-License-Identifier: GPL-2.0
#include <linux/delay.h>
#include <linux/ftrace.h>
#include <linux/kallsyms.h>
#include <linux/kprobes.h>
#include <linux/module.h>

#include "arch.h"
#include "compat.h"
#include "hooks.h"
#include "ids.h"
#include "inside.h"
#include "reading.h"
#include "timers.h"
#include "vvar.h"
#include "wait.h"
#include "whose.h"

/*
 * A function of the kernel's, and what is called instead, always or when
 * that says so, or before it with the registers that hold its arguments.
 * Optional is what this kernel was built without.
 */
static struct hook {
	const char *name;
	void *instead;
	bool (*when)(struct ftrace_regs *regs);
	void (*before)(struct ftrace_regs *regs);
	bool optional;
	unsigned long address;
} hooks[] = {
	/* The more often called, the earlier; the first is entered directly where that can be. */
	{ "posix_get_realtime_timespec", read_realtime },
	{ "get_task_pid", get_task_pid_instead },
	{ "futex_setup_timer", futex_setup_timer_instead },
	{ CALL("gettimeofday"), read_gettimeofday },
	{ CALL("time"), read_time, .optional = !HAS_CALL_TIME },
	{ "posix_get_realtime_coarse", read_coarse },
	{ "vvar_fault", vvar_fault_instead },
	{ "commit_creds", commit_creds_instead },
	{ "finalize_exec", finalize_exec_instead },
	{ "posix_get_tai_timespec", read_tai },
	{ "alarm_clock_get_timespec", read_alarm },
	{ CALL_32("gettimeofday"), read_gettimeofday_32, .optional = !IS_ENABLED(CONFIG_COMPAT) },
	{ CALL_TIME_32, read_time_32, .optional = !HAS_CALL_TIME_32 },
	{ "cap_settime", may_set_time },
	{ "do_adjtimex", refuse_adjtimex, .when = changes_time },
	{ "common_nsleep", .before = before_nsleep },
	{ "common_hrtimer_arm", .before = before_timer_arm },
	{ "common_timer_del", .before = before_timer_delete },
	{ "do_timerfd_settime", .before = before_timerfd, .optional = !IS_ENABLED(CONFIG_TIMERFD) },
	{ "timerfd_release", .before = before_timerfd_release,
	  .optional = !IS_ENABLED(CONFIG_TIMERFD) },
	{ "do_mq_timedsend", .before = before_mq, .optional = !IS_ENABLED(CONFIG_POSIX_MQUEUE) },
	{ "do_mq_timedreceive", .before = before_mq, .optional = !IS_ENABLED(CONFIG_POSIX_MQUEUE) },
	{ "io_timeout", .before = before_uring_timeout, .optional = !IS_ENABLED(CONFIG_IO_URING) },
	{ "io_queue_linked_timeout", .before = before_uring_timeout,
	  .optional = !IS_ENABLED(CONFIG_IO_URING) },
	{ "io_timeout_remove", .before = before_uring_update,
	  .optional = !IS_ENABLED(CONFIG_IO_URING) },
	{ "alarm_timer_arm", .before = before_timer_arm },
	{ "alarm_timer_nsleep", .before = before_alarm_nsleep },
	{ "perf_event_namespaces", .before = before_namespaces,
	  .optional = !IS_ENABLED(CONFIG_PERF_EVENTS) },
	{ "uts_proc_notify", .before = before_name_notice,
	  .optional = !IS_ENABLED(CONFIG_PROC_SYSCTL) },
	{ "proc_do_uts_string", .before = before_name_string,
	  .optional = !IS_ENABLED(CONFIG_PROC_SYSCTL) },
	{ "__do_adjtimex", .before = before_adjtimex },
};

/* Of kernel_clone, the one caller of get_task_pid that is meant. */
static unsigned long clone_begin, clone_end;

/* Kprobes that are never armed: an exported way to find functions. */
static struct kprobe probes[ARRAY_SIZE(hooks) + 1] __initdata;
static struct kprobe *all_found[ARRAY_SIZE(probes)] __initdata;
static int found __initdata;

/* ftrace's call lies within the first bytes of a function. */
static __always_inline const struct hook *hook_at(unsigned long address)
{
	const struct hook *hook = hooks;

	while (address - hook->address >= 16)
		hook++;
	return hook;
}

static bool notrace is_meant(const struct hook *hook, unsigned long parent, struct ftrace_regs *regs)
{
	if (is_own_text(parent))
		return false;
	if (hook->instead == get_task_pid_instead &&
	    (parent < clone_begin || parent >= clone_end))
		return false;
	return !hook->when || hook->when(regs);
}

static void notrace redirect(unsigned long address, unsigned long parent,
			     struct ftrace_ops *ops, struct ftrace_regs *regs)
{
	const struct hook *hook = hook_at(address);

	/* The first is called most, and never from here. */
	if (hook != hooks && !is_meant(hook, parent, regs))
		return;
	go_to(regs, hook->instead);
}

static void notrace change_arguments(unsigned long address, unsigned long parent,
				     struct ftrace_ops *ops, struct ftrace_regs *regs)
{
	/* Timers are noted as long as they live. */
	if (READ_ONCE(table_was_used))
		hook_at(address)->before(regs);
}

static struct ftrace_ops redirect_ops = {
	.func = redirect,
	.flags = HOOK_FLAGS | FTRACE_OPS_FL_PERMANENT | FTRACE_OPS_FL_IPMODIFY,
};

static struct ftrace_ops arguments_ops = {
	.func = change_arguments,
	.flags = HOOK_FLAGS | FTRACE_OPS_FL_PERMANENT,
};

static struct ftrace_ops direct_ops;

#ifdef CONFIG_X86_64
/*
 * Goes to read_realtime instead of back to the function that was called. That
 * is called most, and what ftrace saves for all others takes longer than to
 * find the caller's clock.
 */
void to_read_realtime(void);
asm(".pushsection .text, \"ax\", @progbits\n"
	".type to_read_realtime, @function\n"
	"to_read_realtime:\n"
    ASM_ENDBR
	"movq $read_realtime, (%rsp)\n"
    ASM_RET
	".size to_read_realtime, . - to_read_realtime\n"
	".popsection\n");

static int enter_directly(void)
{
	return register_direct(&direct_ops, (unsigned long)to_read_realtime);
}

static void leave_directly(void)
{
	if (direct_ops.flags & FTRACE_OPS_FL_ENABLED)
		unregister_direct(&direct_ops, (unsigned long)to_read_realtime);
}
#else
static int enter_directly(void) { return 0; }
static void leave_directly(void) { }
#endif

static struct ftrace_ops *ops_of(const struct hook *hook)
{
	if (IS_ENABLED(CONFIG_X86_64) && hook == hooks)
		return &direct_ops;
	return hook->instead ? &redirect_ops : &arguments_ops;
}

static void __init find(const char *name, unsigned long *address)
{
	struct kprobe *probe = &probes[found];

	*probe = (struct kprobe){ .symbol_name = name, .flags = KPROBE_FLAG_DISABLED };
	if (register_kprobe(probe))
		return;
	*address = (unsigned long)probe->addr;
	all_found[found++] = probe;
}

/* All at once are out of use in one grace period. */
static void __init find_all(void)
{
	struct hook *hook;

	for (hook = hooks; hook < hooks + ARRAY_SIZE(hooks); hook++)
		find(hook->name, &hook->address);
	find("kernel_clone", &clone_begin);
	unregister_kprobes(all_found, found);
}

/* The kernel prints where an address is as NAME+0x0/0xSIZE. */
static int __init find_clone_end(void)
{
	char text[KSYM_SYMBOL_LEN];
	unsigned long size = 0;
	char *slash;

	if (clone_begin) {
		sprint_symbol(text, clone_begin);
		slash = strchr(text, '/');
		if (slash)
			size = simple_strtoul(slash + 1, NULL, 16);
	}
	clone_end = clone_begin + size;
	if (!size)
		pr_err("zynov: cannot find the function kernel_clone in this kernel\n");
	return size ? 0 : -ENOENT;
}

static int __init choose(void)
{
	struct hook *hook;
	int error;

	for (hook = hooks; hook < hooks + ARRAY_SIZE(hooks); hook++) {
		error = hook->address ? ftrace_set_filter_ip(ops_of(hook), hook->address, 0, 0) :
					-ENOENT;
		if (error && !hook->optional) {
			pr_err("zynov: cannot hook the function %s of this kernel: error %d\n",
			       hook->name, -error);
			return error;
		}
		if (error)
			hook->address = 0;
	}
	return 0;
}

static void let_go(void)
{
	ftrace_free_filter(&redirect_ops);
	ftrace_free_filter(&arguments_ops);
	ftrace_free_filter(&direct_ops);
}

/*
 * Before it returns, each of these waits until all tasks have been elsewhere,
 * since ftrace frees the code by which it came here.
 */
static void unhook_all(void)
{
	leave_directly();
	if (redirect_ops.flags & FTRACE_OPS_FL_ENABLED)
		unregister_ftrace_function(&redirect_ops);
	/* Who had just been redirected is counted now, or gone. */
	while (is_any_inside())
		usleep_range(1000, 2000);
	/* Who has counted himself out has returned after this. */
	if (arguments_ops.flags & FTRACE_OPS_FL_ENABLED)
		unregister_ftrace_function(&arguments_ops);
	ids_await_returns();
}

static int hook_all(void)
{
	int error = register_ftrace_function(&arguments_ops) ?:
		    register_ftrace_function(&redirect_ops) ?:
		    enter_directly();

	if (error)
		unhook_all();
	if (error == -EBUSY)
		pr_err("zynov: a livepatch or another module has replaced a function of the kernel that is needed, or kernel.ftrace_enabled is 0\n");
	else if (error)
		pr_err("zynov: cannot hook the kernel's functions: error %d\n", -error);
	return error;
}

int __init hooks_init(void)
{
	int error;

	find_all();
	error = find_clone_end() ?: choose() ?: hook_all();
	if (error)
		let_go();
	return error;
}

void hooks_exit(void)
{
	unhook_all();
	let_go();
}
