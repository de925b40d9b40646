// SPDX-License-Identifier: GPL-2.0
#include <linux/delay.h>
#include <linux/sched/mm.h>
#include <linux/slab.h>
#include <linux/workqueue.h>

#include "later.h"
#include "tree.h"

#define PATIENCE 1000 /* tries, half a millisecond apart or more */

static bool (*try_forget)(struct mm_struct *mm);

struct space {
	struct list_head node;
	struct mm_struct *mm;
	int tries;
};

static LIST_HEAD(noted);
static DEFINE_SPINLOCK(noted_lock);

/* Each at most once, however often their clock changes. */
static LIST_HEAD(busy);
static DEFINE_MUTEX(busy_mutex);

void later_init(bool (*forget)(struct mm_struct *mm))
{
	try_forget = forget;
}

static struct space *make_space(struct mm_struct *mm, gfp_t flags)
{
	struct space *space = kzalloc(sizeof(*space), flags);

	if (space) {
		mmgrab(mm);
		space->mm = mm;
	}
	return space;
}

static void drop(struct space *space)
{
	mmdrop(space->mm);
	kfree(space);
}

static bool try(struct space *space)
{
	bool done;

	if (!mmget_not_zero(space->mm))
		return true;
	done = try_forget(space->mm);
	mmput_async(space->mm);
	return done;
}

static void keep(struct space *space)
{
	struct space *other;

	mutex_lock(&busy_mutex);
	list_for_each_entry(other, &busy, node)
		if (other->mm == space->mm)
			break;
	if (list_entry_is_head(other, &busy, node))
		list_add(&space->node, &busy);
	else
		drop(space);
	mutex_unlock(&busy_mutex);
}

/* Whether there are some for which it is worth to wait. */
static bool try_busy(void)
{
	struct space *space, *next;
	bool wait = false;

	mutex_lock(&busy_mutex);
	list_for_each_entry_safe(space, next, &busy, node) {
		if (try(space)) {
			list_del(&space->node);
			drop(space);
		} else if (space->tries < PATIENCE) {
			space->tries++;
			wait = true;
		}
	}
	mutex_unlock(&busy_mutex);
	return wait;
}

bool later_is_busy(void)
{
	bool is;

	mutex_lock(&busy_mutex);
	is = !list_empty(&busy);
	mutex_unlock(&busy_mutex);
	return is;
}

static void try_all(struct work_struct *work);
static DECLARE_DELAYED_WORK(try_work, try_all);

static void try_soon(void)
{
	schedule_delayed_work(&try_work, msecs_to_jiffies(50));
}

static void try_all(struct work_struct *work)
{
	struct space *space, *next;
	LIST_HEAD(found);

	spin_lock(&noted_lock);
	list_splice_init(&noted, &found);
	spin_unlock(&noted_lock);
	list_for_each_entry_safe(space, next, &found, node) {
		if (try(space))
			drop(space);
		else
			keep(space);
	}
	if (!later_is_busy())
		return;
	try_busy();
	if (later_is_busy())
		try_soon();
	else
		tree_call_now(); /* which frees what was kept for them */
}

bool later_forget(struct mm_struct *mm, gfp_t flags)
{
	struct space *space = make_space(mm, flags);

	if (!space)
		return false;
	spin_lock(&noted_lock);
	list_add(&space->node, &noted);
	spin_unlock(&noted_lock);
	try_soon();
	return true;
}

void later_busy(struct mm_struct *mm)
{
	keep(make_space(mm, GFP_KERNEL | __GFP_NOFAIL));
}

void later_wait(void)
{
	while (try_busy())
		usleep_range(500, 1000);
	if (later_is_busy())
		try_soon();
}

bool later_exit(void)
{
	const unsigned long limit = jiffies + 60 * HZ;
	struct space *space, *next;
	bool settled;

	flush_delayed_work(&try_work);
	while (later_is_busy() && !time_after(jiffies, limit)) {
		try_busy();
		usleep_range(1000, 2000);
	}
	cancel_delayed_work_sync(&try_work);
	settled = list_empty(&busy);
	list_for_each_entry_safe(space, next, &busy, node)
		drop(space);
	INIT_LIST_HEAD(&busy);
	return settled;
}
