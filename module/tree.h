/* SPDX-License-Identifier: GPL-2.0 */
/*
 * Those who live by one clock that is passed on. The clock goes before they
 * do; then they live by the tree that this one grew in.
 */
#ifndef ZYNOV_TREE_H
#define ZYNOV_TREE_H

#include <linux/refcount.h>

#include "vclock.h"

struct tree {
	struct vclock __rcu *clock;
	struct tree *outer;
	refcount_t references; /* the clock's, its members', inner trees' */
	atomic_t living;       /* processes, and inner trees with some */
	int first;	       /* the generation of the first process */
	bool lasting;
	struct rcu_head rcu;
};

/* What is called, from now on, when the last of a tree has ended, or at once. It may sleep. */
void tree_call(void (*function)(void));
void tree_call_now(void);
void tree_stop_calls(void);

/* A clock's, within another one that its process was made in, or NULL. */
struct tree *tree_make(struct vclock *clock, struct tree *outer, int first);
void tree_put(struct tree *tree);

/* Under RCU: the first tree outwards that has a clock, with a reference; the clock of that. */
struct tree *tree_get(struct tree *tree);
struct vclock *tree_clock(struct tree **tree);

/* One of those who live in a tree has ended. */
void tree_end_life(struct tree *tree);

#endif
