// SPDX-License-Identifier: GPL-2.0
#include "inside.h"

DEFINE_PER_CPU(long, hooks_inside);

/* Exact once nobody enters any more: it may have been on another processor than one leaves on. */
bool is_any_inside(void)
{
	long inside = 0;
	int cpu;

	for_each_possible_cpu(cpu)
		inside += READ_ONCE(per_cpu(hooks_inside, cpu));
	return inside != 0;
}
