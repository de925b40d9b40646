/* SPDX-License-Identifier: GPL-2.0 */
/* What differs between x86-64 and arm64: system calls, ftrace's registers and where the vDSO's data lies. */
#ifndef ZYNOV_ARCH_H
#define ZYNOV_ARCH_H

#include <linux/ftrace.h>
#include <linux/mm_types.h>
#include <linux/ptrace.h>
#include <asm/vdso.h>
#include <uapi/linux/audit.h>

/* The data's and a time namespace's page of [vvar], and its beginning, from the beginning of the vDSO. */
struct vvar_layout {
	long start, data, timens;
};

#if defined(CONFIG_X86_64) && defined(CONFIG_DYNAMIC_FTRACE_WITH_ARGS)

#include <asm/ibt.h>

#define CALL(name) "__x64_sys_" name
#define CALL_32(name) "__ia32_compat_sys_" name
#define CALL_TIME_32 "__ia32_sys_time32"
#define HAS_CALL_TIME true
#define HAS_CALL_TIME_32 IS_ENABLED(CONFIG_IA32_EMULATION)

/* 32-bit programs, and their numbers of calls whose time has 32 bits. */
#define AUDIT_ARCH_32 AUDIT_ARCH_I386
enum { NR32_mq_timedsend = 279, NR32_mq_timedreceive, NR32_clock_nanosleep = 267 };

/* Without FTRACE_OPS_FL_SAVE_REGS, ftrace has the arguments and ip alone, for half the price. */
#define HOOK_FLAGS 0

static __always_inline unsigned long *argument_at(struct ftrace_regs *fregs, int n)
{
	struct pt_regs *regs = (struct pt_regs *)fregs;

	switch (n) {
	case 0:
		return &regs->di;
	case 1:
		return &regs->si;
	case 2:
		return &regs->dx;
	case 3:
		return &regs->cx;
	default:
		return n == 4 ? &regs->r8 : &regs->r9;
	}
}

static __always_inline void go_to(struct ftrace_regs *fregs, void *function)
{
	((struct pt_regs *)fregs)->ip = (unsigned long)function;
}

/* DECLARE_VVAR(128, ...) in asm/vvar.h: where the vDSO's data begins in its page. */
#define VDSO_DATA_OFFSET 128

/* False without a vDSO. */
static inline bool get_vvar_layout(const struct mm_struct *mm, struct vvar_layout *layout)
{
	const struct vdso_image *image = mm->context.vdso_image;

	if (!image)
		return false;
	layout->start = image->sym_vvar_start;
	layout->data = image->sym_vvar_page;
	layout->timens = image->sym_timens_page;
	return true;
}

#elif defined(CONFIG_ARM64) && \
	(defined(CONFIG_DYNAMIC_FTRACE_WITH_ARGS) || defined(CONFIG_DYNAMIC_FTRACE_WITH_REGS))

#define CALL(name) "__arm64_sys_" name
#define CALL_32(name) "__arm64_compat_sys_" name
#define CALL_TIME_32 CALL("time32")
#define HAS_CALL_TIME false
#define HAS_CALL_TIME_32 false

#define AUDIT_ARCH_32 AUDIT_ARCH_ARM
enum { NR32_mq_timedsend = 276, NR32_mq_timedreceive, NR32_clock_nanosleep = 265 };

/* In each of the forms that struct ftrace_regs has had, x0 to x7 come first. */
static __always_inline unsigned long *argument_at(struct ftrace_regs *fregs, int n)
{
	return (unsigned long *)fregs + n;
}

#ifdef CONFIG_DYNAMIC_FTRACE_WITH_ARGS
#define HOOK_FLAGS 0
static __always_inline void go_to(struct ftrace_regs *fregs, void *function)
{
	ftrace_regs_set_instruction_pointer(fregs, (unsigned long)function);
}
#else
#define HOOK_FLAGS FTRACE_OPS_FL_SAVE_REGS
static __always_inline void go_to(struct ftrace_regs *fregs, void *function)
{
	ftrace_get_regs(fregs)->pc = (unsigned long)function;
}
#endif

#define VDSO_DATA_OFFSET 0

/* enum vvar_pages in arch/arm64/kernel/vdso.c */
static inline bool get_vvar_layout(const struct mm_struct *mm, struct vvar_layout *layout)
{
	layout->start = -__VVAR_PAGES * (long)PAGE_SIZE;
	layout->data = layout->start;
	layout->timens = layout->data + PAGE_SIZE;
	return mm->context.vdso != NULL;
}

#else
#error "The module knows x86-64 and arm64, with an ftrace that gives the arguments."
#endif

/* An argument of the function that is about to be called. */
#define argument(fregs, n) (*argument_at(fregs, n))

#endif
