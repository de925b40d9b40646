// SPDX-License-Identifier: GPL-2.0
#include <linux/slab.h>

#include "later.h"
#include "page.h"
#include "retired.h"

static LIST_HEAD(retired);
static int count;

void free_clock(struct vclock *clock)
{
	put_pid(clock->pid);
	kfree(rcu_access_pointer(clock->rate));
	kfree(clock);
}

static void free_clock_later(struct rcu_head *head)
{
	free_clock(container_of(head, struct vclock, rcu));
}

/* Its page goes when nobody has it mapped, it itself when nobody reads it. */
void retire_all(struct list_head *gone)
{
	struct vclock *clock, *next;

	list_for_each_entry(clock, gone, gone)
		count++;
	list_splice(gone, &retired);
	if (list_empty(&retired) || later_is_busy())
		return;
	list_for_each_entry_safe(clock, next, &retired, gone) {
		page_take(clock);
		call_rcu(&clock->rcu, free_clock_later);
	}
	INIT_LIST_HEAD(&retired);
	count = 0;
}

/* Who keeps a process's memory locked must not fill the kernel's. */
bool retired_are_many(void)
{
	return count >= 64;
}
