/* SPDX-License-Identifier: GPL-2.0 */
/*
 * The processes that live by the clock that one process passes on. The clock may
 * be deleted before they end, and the process be given another; while it has
 * none, they live by that of the outer tree.
 */
#ifndef ZYNOV_TREE_H
#define ZYNOV_TREE_H

#include <linux/refcount.h>

#include "vclock.h"

struct tree {
	struct vclock __rcu *clock;
	struct tree *outer;
	refcount_t references; /* its first process's, the clock's, its members', inner trees' */
	atomic_t living;       /* processes, and inner trees with some */
	int first;	       /* the generation of the first process */
	bool lasting;
	bool over; /* the first process has ended: no other clock comes */
	struct rcu_head rcu;
};

/* What is called, from now on, when the last of a tree has ended, or at once. It may sleep. */
void tree_call(void (*function)(void));
void tree_call_now(void);
void tree_stop_calls(void);

/* One without a clock, within another one that its process was made in, or NULL. */
struct tree *tree_make(struct tree *outer, int first);
void tree_put(struct tree *tree);

/*
 * Under RCU: the first tree outwards that has a clock or may have one, with a
 * reference; the first clock that is for such a user.
 */
struct tree *tree_get(struct tree *tree);
struct vclock *tree_clock(struct tree **tree, kuid_t euid);

/* One more lives in a tree; one of those who do has ended. */
void tree_begin_life(struct tree *tree);
void tree_end_life(struct tree *tree);

#endif
