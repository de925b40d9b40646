// SPDX-License-Identifier: GPL-2.0
#include <linux/hashtable.h>
#include <linux/sched/signal.h>
#include <linux/slab.h>
#include <linux/tracepoint.h>

#include "process.h"
#include "tree.h"

/* A process that has a clock, or lives by one that was passed on. */
struct member {
	struct hlist_node node;
	struct signal_struct *process;
	struct vclock __rcu *own;
	struct tree *tree; /* that it was made in; stays */
	struct tree *begun; /* that its own clocks are passed on to; stays, too */
	int generation;
	struct rcu_head rcu;
};

static DEFINE_HASHTABLE(members, 12);
static DEFINE_SPINLOCK(members_lock); /* for changes; never taken in interrupts */
atomic_t member_count = ATOMIC_INIT(0);

static struct hlist_head *chain_of(const struct signal_struct *process)
{
	return &members[hash_ptr(process, HASH_BITS(members))];
}

static struct member *find(const struct signal_struct *process)
{
	struct member *member;

	hlist_for_each_entry_rcu(member, chain_of(process), node,
				 lockdep_is_held(&members_lock))
		if (member->process == process)
			return member;
	return NULL;
}

struct vclock *process_clock(struct signal_struct *process, kuid_t euid)
{
	struct member *member;
	struct vclock *clock;
	struct tree *tree;

	member = find(process);
	if (!member)
		return NULL;
	clock = rcu_dereference_check(member->own, rcu_read_lock_sched_held());
	if (clock && reaches(clock, euid))
		return clock;
	tree = member->tree;
	return tree_clock(&tree, euid);
}

struct vclock *process_inherited(struct task_struct *process, int *generations)
{
	struct member *member = find(process->signal);
	struct tree *tree = member ? member->tree : NULL;
	struct vclock *clock = tree_clock(&tree, task_euid(process));

	if (clock)
		*generations = member->generation - tree->first;
	return clock;
}

/*
 * Enters a process, or finds it; NULL when it is about to end. The count is
 * raised before its life is looked at, and on_exit does the reverse. Under RCU
 * for who looks at one that was found: the process may end.
 */
static struct member *enter(struct signal_struct *process, struct member *new)
{
	struct member *member;

	atomic_inc(&member_count);
	smp_mb__after_atomic(); /* see above */
	spin_lock(&members_lock);
	member = find(process);
	if (!member && atomic_read(&process->live)) {
		member = new;
		hlist_add_head_rcu(&member->node, chain_of(process));
	}
	spin_unlock(&members_lock);
	if (member != new)
		atomic_dec(&member_count);
	return member;
}

static void leave(struct member *member)
{
	hlist_del_rcu(&member->node);
	atomic_dec(&member_count);
}

static struct member *make_member(struct signal_struct *process)
{
	struct member *member = kzalloc(sizeof(*member), GFP_KERNEL);

	if (member)
		member->process = process;
	return member;
}

int process_give(struct pid *pid, struct vclock *clock)
{
	struct task_struct *task = get_pid_task(pid, PIDTYPE_TGID);
	struct member *member, *new;

	if (!task)
		return -ESRCH;
	/* Its parent enters it before it runs, or it would never live by an ancestor's clock. */
	if (READ_ONCE(task->__state) == TASK_NEW) {
		put_task_struct(task);
		return -ESRCH;
	}
	new = make_member(task->signal);
	if (!new) {
		put_task_struct(task);
		return -ENOMEM;
	}
	RCU_INIT_POINTER(new->own, clock);
	rcu_read_lock();
	member = enter(task->signal, new);
	if (member != new) {
		kfree(new);
		/* By that of a zombie nobody lives; it is shown until that is reaped. */
		if (member && !rcu_access_pointer(member->own))
			rcu_assign_pointer(member->own, clock);
	}
	rcu_read_unlock();
	put_task_struct(task);
	return 0;
}

/*
 * Takes a clock off its process. Whoever finds it there under the lock, this or
 * the process's end, counts the process out of the clock's tree.
 */
static bool take_own(struct member *member, struct vclock *clock)
{
	if (!member || rcu_access_pointer(member->own) != clock)
		return false;
	RCU_INIT_POINTER(member->own, NULL);
	return true;
}

void process_take(struct vclock *clock)
{
	struct task_struct *task = get_pid_task(clock->pid, PIDTYPE_TGID);
	struct tree *tree = clock->tree;
	bool taken = false;

	if (task) {
		spin_lock(&members_lock);
		taken = take_own(find(task->signal), clock);
		spin_unlock(&members_lock);
		put_task_struct(task);
	}
	if (!tree)
		return;
	RCU_INIT_POINTER(tree->clock, NULL);
	if (taken)
		tree_end_life(tree);
	tree_put(tree);
}

/* A process has one tree for all its clocks; with a reference, and a life, for this one. */
static struct tree *begin_tree(struct member *member, struct vclock *clock)
{
	struct tree *tree = member->begun;

	lockdep_assert_held(&members_lock);
	if (!tree) {
		tree = tree_make(member->tree, member->generation);
		if (!tree)
			return NULL;
		/* Who makes a child sees it whole. */
		smp_store_release(&member->begun, tree);
	}
	refcount_inc(&tree->references);
	tree_begin_life(tree);
	rcu_assign_pointer(tree->clock, clock);
	return tree;
}

int process_pass_on(struct vclock *clock, bool lasting)
{
	struct task_struct *task;
	struct member *member;
	struct tree *tree;
	int result = -ENOENT;

	if (clock->tree) {
		clock->tree->lasting |= lasting;
		return 0;
	}
	task = get_pid_task(clock->pid, PIDTYPE_TGID);
	if (!task)
		return result;
	spin_lock(&members_lock);
	member = find(task->signal);
	if (member && rcu_access_pointer(member->own) == clock) {
		result = member->begun != NULL;
		tree = begin_tree(member, clock);
		if (tree) {
			tree->lasting = lasting;
			/* Those who read it see it whole. */
			smp_store_release(&clock->tree, tree);
		} else {
			result = -ENOMEM;
		}
	}
	spin_unlock(&members_lock);
	put_task_struct(task);
	smp_mb(); /* before the tree's members are looked at */
	return result;
}

bool process_has_ended(const struct vclock *clock)
{
	const struct tree *tree = clock->tree;

	if (!tree)
		return !pid_has_task(clock->pid, PIDTYPE_TGID);
	return tree->lasting ? !atomic_read(&tree->living) :
			       !rcu_access_pointer(tree->clock);
}

bool process_has_heirs(const struct vclock *clock)
{
	return clock->tree && atomic_read(&clock->tree->living);
}

void process_begin(struct task_struct *child)
{
	struct member *parent, *member;
	struct tree *tree = NULL;
	int generation = 0;

	if (!processes_in_use() || child->signal == current->signal)
		return;
	rcu_read_lock();
	parent = find(current->signal);
	if (parent) {
		/* Whole; what is passed on between two clocks, too. */
		tree = tree_get(smp_load_acquire(&parent->begun) ?: parent->tree);
		generation = parent->generation + 1;
	}
	rcu_read_unlock();
	if (!tree)
		return;
	member = make_member(child->signal);
	if (!member) {
		pr_warn_ratelimited("zynov: no memory: process %d keeps the real time\n",
				    task_tgid_nr(child));
		tree_put(tree);
		return;
	}
	member->tree = tree;
	member->generation = generation;
	tree_begin_life(tree);
	enter(child->signal, member);
}

/* A process's own clock when it ends; under RCU. */
static void end_own(struct vclock *own)
{
	struct tree *tree = smp_load_acquire(&own->tree); /* whole */

	if (tree && !READ_ONCE(tree->lasting))
		RCU_INIT_POINTER(tree->clock, NULL);
	tree_end_life(tree);
	tree_call_now();
}

/*
 * Any thread's end. The last one has counted itself out before it comes here,
 * by an operation that is a full barrier.
 */
static void on_exit(void *unused, struct task_struct *task)
{
	struct member *member;
	struct vclock *own;

	if (!processes_in_use() || atomic_read(&task->signal->live))
		return;
	rcu_read_lock();
	spin_lock(&members_lock);
	member = find(task->signal);
	if (member) {
		leave(member);
		own = rcu_dereference(member->own);
		take_own(member, own);
	}
	spin_unlock(&members_lock);
	if (member) {
		if (own)
			end_own(own);
		tree_end_life(member->tree);
		tree_put(member->tree);
		if (member->begun)
			WRITE_ONCE(member->begun->over, true);
		tree_put(member->begun);
		kfree_rcu(member, rcu);
	}
	rcu_read_unlock();
}

static struct tracepoint *exit_point;

static void find_exit_point(struct tracepoint *point, void *unused)
{
	if (!strcmp(point->name, "sched_process_exit"))
		exit_point = point;
}

int process_init(void)
{
	int error;

	for_each_kernel_tracepoint(find_exit_point, NULL);
	error = exit_point ? tracepoint_probe_register(exit_point, on_exit, NULL) : -ENOENT;
	if (error)
		pr_err("zynov: cannot follow the tracepoint sched_process_exit: error %d\n",
		       -error);
	return error;
}

void process_exit(void)
{
	struct member *member;
	struct hlist_node *next;
	int chain;

	tracepoint_probe_unregister(exit_point, on_exit, NULL);
	tracepoint_synchronize_unregister();
	tree_stop_calls();
	hash_for_each_safe(members, chain, next, member, node) {
		leave(member);
		tree_put(member->tree);
		tree_put(member->begun);
		kfree_rcu(member, rcu);
	}
	rcu_barrier();
}
