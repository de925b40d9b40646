/* SPDX-License-Identifier: GPL-2.0 */
/*
 * What programs read the time from without a system call: the vDSO's data
 * page. Who has a clock finds one of the clock's own in its place.
 */
#ifndef ZYNOV_VVAR_H
#define ZYNOV_VVAR_H

#include <linux/mm.h>

#include "vclock.h"

int vvar_init(void);
void vvar_exit(void);

/*
 * Makes readings find their page anew: of an address space, of whom a clock
 * may concern, of all if it is NULL. They sleep.
 */
void vvar_forget(struct mm_struct *mm);
void vvar_forget_clock(const struct vclock *clock);

/* A new address space, before its task runs; whether that took more than a look. */
bool vvar_begin(struct mm_struct *mm);

/* In the place of the kernel's. */
vm_fault_t vvar_fault_instead(const struct vm_special_mapping *mapping,
			      struct vm_area_struct *vma, struct vm_fault *vmf);

#endif
