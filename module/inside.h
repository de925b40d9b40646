/* SPDX-License-Identifier: GPL-2.0 */
/*
 * Who is in a function of this module that stands in for one of the kernel's,
 * and may sleep there: without a count it could be unloaded under him.
 */
#ifndef ZYNOV_INSIDE_H
#define ZYNOV_INSIDE_H

#include <linux/percpu.h>

DECLARE_PER_CPU(long, hooks_inside);

static inline void hook_enter(void)
{
	this_cpu_inc(hooks_inside);
}

static inline void hook_leave(void)
{
	this_cpu_dec(hooks_inside);
}

bool is_any_inside(void);

#endif
