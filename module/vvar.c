// SPDX-License-Identifier: GPL-2.0
#include <linux/mm.h>
#include <linux/nsproxy.h>
#include <linux/sched/mm.h>
#include <linux/sched/signal.h>
#include <linux/sched/task.h>
#include <linux/time_namespace.h>

#include "arch.h"
#include "compat.h"
#include "inside.h"
#include "later.h"
#include "page.h"
#include "vvar.h"
#include "whose.h"

static bool is_vvar(struct vm_area_struct *vma)
{
	const char *name = NULL;

	if ((vma->vm_flags & VM_PFNMAP) && !vma->vm_file && vma->vm_ops &&
	    vma->vm_ops->name)
		name = vma->vm_ops->name(vma);
	return name && !strcmp(name, "[vvar]");
}

/* With the mmap lock held for writing. A program may have moved it, or parts of it, anywhere. */
static void forget_locked(struct mm_struct *mm)
{
	struct vm_area_struct *vma;
	VMA_ITERATOR(vmi, mm, 0);

	lockdep_assert_held_write(&mm->mmap_lock);
	for_each_vma(vmi, vma) {
		if (!is_vvar(vma))
			continue;
		/*
		 * A child that is forked must not take over the page: nobody
		 * finds it while it is being made. This also keeps out faults
		 * that lock nothing but the vma.
		 */
		wipe_on_fork(vma);
		zap_vma_ptes(vma, vma->vm_start, vma->vm_end - vma->vm_start);
	}
}

static bool try_forget(struct mm_struct *mm)
{
	if (!try_write_lock(mm))
		return false;
	forget_locked(mm);
	mmap_write_unlock(mm);
	return true;
}

void vvar_forget(struct mm_struct *mm)
{
	mmap_write_lock(mm);
	forget_locked(mm);
	mmap_write_unlock(mm);
}

/* Of any thread that still has one. */
static struct mm_struct *get_process_mm(struct pid *pid)
{
	struct task_struct *process, *thread;
	struct mm_struct *mm = NULL;

	rcu_read_lock();
	process = pid_task(pid, PIDTYPE_TGID);
	if (process && !(process->flags & PF_KTHREAD))
		for_each_thread(process, thread) {
			mm = get_task_mm(thread);
			if (mm)
				break;
		}
	rcu_read_unlock();
	return mm;
}

static void forget_process(struct pid *pid, const struct vclock *clock)
{
	struct mm_struct *mm = get_process_mm(pid);

	if (!mm)
		return;
	/* Whoever holds the lock may wait for ever, for a file system in user space perhaps. */
	if (!try_forget(mm))
		later_busy(mm);
	mmput_async(mm);
}

/*
 * Who comes later finds the table as it is now, and so does who is being
 * forked; see vvar_begin.
 */
void vvar_forget_clock(const struct vclock *clock)
{
	visit_processes(forget_process, clock);
	later_wait();
}

/*
 * A new address space is in nobody's sight until its task is. What is there
 * then is marked by who changes the table, or here: one of the two sees the
 * other. Only a first mark costs more than a look.
 */
bool vvar_begin(struct mm_struct *mm)
{
	unsigned long vdso = (unsigned long)mm->context.vdso;
	struct vm_area_struct *vma;
	bool marked;

	mmap_read_lock(mm);
	vma = vdso ? find_vma(mm, vdso - PAGE_SIZE) : NULL;
	marked = vma && vma->vm_start < vdso && is_vvar(vma) &&
		 (vma->vm_flags & VM_WIPEONFORK);
	mmap_read_unlock(mm);
	if (!marked)
		vvar_forget(mm);
	return !marked;
}

static bool process_differs(struct task_struct *process, struct mm_struct *mm,
			    const struct vclock *clock)
{
	struct task_struct *thread;

	for_each_thread(process, thread)
		if (thread->mm == mm && clock_of_task(thread) != clock)
			return true;
	return false;
}

/* Whether all who share the caller's address space live by his clock; under RCU. */
static bool all_share(const struct vclock *clock)
{
	struct mm_struct *mm = current->mm;
	struct task_struct *process;

	if (atomic_read(&mm->mm_users) == 1)
		return true;
	if (process_differs(current, mm, clock))
		return false;
	if (atomic_read(&mm->mm_users) <= get_nr_threads(current))
		return true;
	for_each_process(process)
		if (!(process->flags & PF_KTHREAD) && process_differs(process, mm, clock))
			return false;
	return true;
}

/* The page of the caller's clock, or NULL for the kernel's own. */
static struct page *page_of_current(bool *mixed)
{
	struct page *page = NULL;
	struct vclock *clock;

	rcu_read_lock();
	clock = clock_of_current();
	*mixed = !all_share(clock);
	if (*mixed) {
		page = page_of_mixed();
	} else if (clock) {
		page_refresh(clock);
		page = clock->page;
	}
	rcu_read_unlock();
	return page;
}

static bool in_time_namespace(void)
{
	return current->nsproxy && current->nsproxy->time_ns->vvar_page;
}

/*
 * The page stays a clock's as long as this fault's lock is held: who takes it
 * away wants that lock first, for each address space.
 */
static vm_fault_t find_page(const struct vm_special_mapping *mapping,
			    struct vm_area_struct *vma, struct vm_fault *vmf)
{
	const bool shifted = in_time_namespace();
	unsigned long address = vmf->address;
	struct vvar_layout layout;
	struct page *page = NULL;
	bool mixed = false;
	vm_fault_t result;
	long at;

	if (!table_in_use() || vma->vm_mm != current->mm ||
	    !get_vvar_layout(vma->vm_mm, &layout))
		return mapping->fault(mapping, vma, vmf);
	at = (long)(vmf->pgoff << PAGE_SHIFT) + layout.start;
	if (at == layout.data || (shifted && at == layout.timens))
		page = page_of_current(&mixed);
	/* Whoever made the mixed page necessary may be gone soon. */
	if (!page || (mixed && !later_forget(vma->vm_mm, GFP_KERNEL)))
		return page ? VM_FAULT_OOM : mapping->fault(mapping, vma, vmf);
	/* In a time namespace its own page stays the first, and this comes second. */
	if (shifted)
		address += layout.timens - at;
	if (address < vma->vm_start || address >= vma->vm_end)
		return mapping->fault(mapping, vma, vmf);
	result = vmf_insert_pfn(vma, address, page_to_pfn(page));
	if (!shifted || at == layout.timens || (result & VM_FAULT_ERROR))
		return result;
	return mapping->fault(mapping, vma, vmf);
}

vm_fault_t vvar_fault_instead(const struct vm_special_mapping *mapping,
			      struct vm_area_struct *vma, struct vm_fault *vmf)
{
	vm_fault_t result;

	hook_enter();
	result = find_page(mapping, vma, vmf);
	hook_leave();
	return result;
}

/* As the process that loads the module has it. */
static int find_kernel_data(const struct vdso_data **data)
{
	struct mm_struct *mm = current->mm;
	struct vvar_layout layout;
	unsigned long address, frame = 0;
	struct vm_area_struct *vma;
	int error;

	if (!mm || !get_vvar_layout(mm, &layout) || !mm->context.vdso)
		return -ENOENT;
	address = (unsigned long)mm->context.vdso +
		  (in_time_namespace() ? layout.timens : layout.data);
	mmap_read_lock(mm);
	error = fixup_user_fault(mm, address, 0, NULL);
	vma = find_vma(mm, address);
	if (!error)
		error = vma && is_vvar(vma) ? frame_behind(vma, address, &frame) : -ENOENT;
	mmap_read_unlock(mm);
	if (!error)
		*data = pfn_to_kaddr(frame) + VDSO_DATA_OFFSET;
	return error;
}

int vvar_init(void)
{
	const struct vdso_data *data;
	int error = find_kernel_data(&data);

	if (error) {
		pr_err("zynov: cannot find the vDSO's data page: error %d\n", -error);
		return error;
	}
	later_init(try_forget);
	return page_init(data);
}

void vvar_exit(void)
{
	if (table_was_used)
		vvar_forget_clock(NULL);
	if (!later_exit())
		page_keep("a process's memory stays locked");
}
