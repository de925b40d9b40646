/* SPDX-License-Identifier: GPL-2.0 */
/* What differs between kernels 6.1 and 6.12, and what they keep to themselves. */
#ifndef ZYNOV_COMPAT_H
#define ZYNOV_COMPAT_H

#include <linux/alarmtimer.h>
#include <linux/ftrace.h>
#include <linux/hrtimer.h>
#include <linux/mm.h>
#include <linux/module.h>
#include <linux/version.h>
#include <linux/wait.h>

#if LINUX_VERSION_CODE >= KERNEL_VERSION(6, 13, 0)
#error "From 6.13 on the vDSO's data lies elsewhere, which the module does not know."
#endif
#ifdef CONFIG_PREEMPT_RT
#error "The module takes locks that sleep under PREEMPT_RT."
#endif

/* mmap_write_trylock, which 6.1 has. */
static inline bool try_write_lock(struct mm_struct *mm)
{
	if (!down_write_trylock(&mm->mmap_lock))
		return false;
#ifdef CONFIG_PER_VMA_LOCK
	/* Up to some 6.12 this is a number, for which there is nothing to do. */
	if (__same_type(mm->mm_lock_seq, seqcount_t))
		do_raw_write_seqcount_begin((seqcount_t *)&mm->mm_lock_seq);
#endif
	return true;
}

/* With the mmap lock held for writing. Keeps out faults that take the lock of the vma alone. */
static inline void wipe_on_fork(struct vm_area_struct *vma)
{
#if LINUX_VERSION_CODE >= KERNEL_VERSION(6, 3, 0)
	vm_flags_set(vma, VM_WIPEONFORK);
#else
	vma->vm_flags |= VM_WIPEONFORK;
#endif
}

/* The page frame behind an address that has been faulted in, under the mmap lock. */
static inline int frame_behind(struct vm_area_struct *vma,
			       unsigned long address, unsigned long *frame)
{
#if LINUX_VERSION_CODE >= KERNEL_VERSION(6, 12, 0)
	struct follow_pfnmap_args args = { .vma = vma, .address = address };
	int error = follow_pfnmap_start(&args);

	if (error)
		return error;
	*frame = args.pfn;
	follow_pfnmap_end(&args);
	return 0;
#else
	return follow_pfn(vma, address, frame);
#endif
}

#if LINUX_VERSION_CODE >= KERNEL_VERSION(6, 4, 0)
#define register_direct register_ftrace_direct
#define unregister_direct(ops, address) unregister_ftrace_direct(ops, address, false)
#else
#define register_direct register_ftrace_direct_multi
#define unregister_direct unregister_ftrace_direct_multi
#endif

/* within_module() looks at all that a module consists of, which takes longer than a reading. */
static __always_inline bool is_own_text(unsigned long address)
{
#if LINUX_VERSION_CODE >= KERNEL_VERSION(6, 4, 0)
	const struct module_memory *text = &THIS_MODULE->mem[MOD_TEXT];
#else
	const struct module_layout *text = &THIS_MODULE->core_layout;
#endif
	return address - (unsigned long)text->base < text->size;
}

/* kernel/futex/futex.h: the flag of a wait until an instant of CLOCK_REALTIME. */
#if LINUX_VERSION_CODE >= KERNEL_VERSION(6, 7, 0)
#define FUTEX_OF_REALTIME 0x20
#else
#define FUTEX_OF_REALTIME 0x02
#endif

/* What a timer of a program is, in struct k_itimer as in this. */
union any_timer {
	struct hrtimer timer;
	struct alarm alarm;
};

/* The beginning of struct timerfd_ctx in fs/timerfd.c. */
struct timerfd_beginning {
	union any_timer t;
	ktime_t tintv;
	ktime_t moffs;
	wait_queue_head_t wqh;
	u64 ticks;
	int clockid;
	unsigned short expired;
	unsigned short settime_flags;
};

/* A process's timers. */
#if LINUX_VERSION_CODE >= KERNEL_VERSION(6, 12, 0)
#define for_each_timer(timer, process) \
	hlist_for_each_entry(timer, &(process)->signal->posix_timers, list)
#else
#define for_each_timer(timer, process) \
	list_for_each_entry(timer, &(process)->signal->posix_timers, list)
#endif

/* struct io_timeout_data in io_uring/timeout.c. */
struct uring_timeout {
	struct io_kiocb *req;
	struct hrtimer timer;
	struct timespec64 ts;
	enum hrtimer_mode mode;
	u32 flags;
};

/* The beginning of struct io_timeout, and struct io_timeout_rem there. */
struct uring_place {
	struct file *file;
	u32 off;
	u32 target_seq;
#if LINUX_VERSION_CODE >= KERNEL_VERSION(6, 4, 0)
	u32 repeats;
#endif
	struct list_head list;
};

struct uring_update {
	struct file *file;
	u64 user_data;
	struct timespec64 ts;
	u32 flags;
	bool linked;
};

#endif
