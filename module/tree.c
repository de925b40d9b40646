// SPDX-License-Identifier: GPL-2.0
#include <linux/slab.h>
#include <linux/workqueue.h>

#include "tree.h"

static void (*call)(void);

static void run_call(struct work_struct *work)
{
	call();
}
static DECLARE_WORK(call_work, run_call);

void tree_call(void (*function)(void))
{
	call = function;
}

void tree_call_now(void)
{
	schedule_work(&call_work);
}

void tree_stop_calls(void)
{
	cancel_work_sync(&call_work);
}

/* With a reference for the process that begins it. */
struct tree *tree_make(struct tree *outer, int first)
{
	struct tree *tree = kzalloc(sizeof(*tree), GFP_ATOMIC);

	if (!tree)
		return NULL;
	refcount_set(&tree->references, 1);
	tree->first = first;
	tree->outer = outer;
	if (outer)
		refcount_inc(&outer->references);
	return tree;
}

void tree_put(struct tree *tree)
{
	struct tree *outer;

	for (; tree && refcount_dec_and_test(&tree->references); tree = outer) {
		outer = tree->outer;
		kfree_rcu(tree, rcu);
	}
}

/* Those that will never have a clock again are left behind. */
struct tree *tree_get(struct tree *tree)
{
	for (; tree; tree = tree->outer)
		if ((rcu_access_pointer(tree->clock) || !READ_ONCE(tree->over)) &&
		    refcount_inc_not_zero(&tree->references))
			return tree;
	return NULL;
}

struct vclock *tree_clock(struct tree **tree, kuid_t euid)
{
	struct vclock *clock;

	for (; *tree; *tree = (*tree)->outer) {
		clock = rcu_dereference_check((*tree)->clock, rcu_read_lock_sched_held());
		if (clock && reaches(clock, euid))
			return clock;
	}
	return NULL;
}

void tree_begin_life(struct tree *tree)
{
	while (tree && atomic_inc_return(&tree->living) == 1)
		tree = tree->outer;
}

void tree_end_life(struct tree *tree)
{
	for (; tree && atomic_dec_and_test(&tree->living); tree = tree->outer)
		tree_call_now();
}
