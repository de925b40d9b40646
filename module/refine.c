// SPDX-License-Identifier: GPL-2.0
#include <linux/sched.h>
#include <linux/slab.h>

#include "page.h"
#include "process.h"
#include "refine.h"
#include "table.h"
#include "timers.h"
#include "vvar.h"
#include "whose.h"

/* What is known of the clock that a process lives by and does not own. */
static int tell_inherited(struct zynov_iov *record, const struct target *target)
{
	struct task_struct *task;
	struct vclock *clock;
	int up;

	if (target->kind != ZYNOV_PROCESS || !target->pid || record->spare)
		return -ENOENT;
	rcu_read_lock();
	task = pid_task(target->pid, PIDTYPE_TGID);
	clock = task ? process_inherited(task, &up) : NULL;
	if (clock) {
		record->id = table_id(clock);
		record->base = up;
		record->spare = clock->refined;
		record->vtime = clock->set.start.nanoseconds;
		record->origin = clock->set.utc_offset;
	}
	rcu_read_unlock();
	return clock ? 0 : -ENOENT;
}

#define REFINE_RATE (ZYNOV_REFINE_NANOSECONDS | ZYNOV_REFINE_UTC_OFFSET)
#define REFINE_ALL (REFINE_RATE | ZYNOV_REFINE_DESCENDANTS | ZYNOV_REFINE_LASTING)

static struct zynov_clock refined_set(const struct vclock *clock,
				      const struct zynov_iov *record)
{
	struct zynov_clock set = clock->set;

	if (record->spare & ZYNOV_REFINE_NANOSECONDS)
		set.start.nanoseconds = record->vtime;
	if (record->spare & ZYNOV_REFINE_UTC_OFFSET)
		set.utc_offset = record->origin;
	return set;
}

static int refine(struct vclock *clock, const struct zynov_iov *record)
{
	const struct zynov_clock set = refined_set(clock, record);
	const u64 what = record->spare;
	struct vclock_rate *rate = NULL;
	int passed = 0; /* 1: to descendants that are there */

	if (what & ~REFINE_ALL ||
	    ((what & ZYNOV_REFINE_NANOSECONDS) &&
	     (record->vtime < 0 || record->vtime >= NSEC_PER_SEC)) ||
	    ((what & ZYNOV_REFINE_UTC_OFFSET) &&
	     (record->origin <= -ZYNOV_DAY || record->origin >= ZYNOV_DAY)) ||
	    ((what & ZYNOV_REFINE_DESCENDANTS) && clock->kind != ZYNOV_PROCESS) ||
	    ((what & ZYNOV_REFINE_LASTING) &&
	     !((what | clock->refined) & ZYNOV_REFINE_DESCENDANTS)))
		return -EINVAL;
	/* All that can fail comes first: either everything is refined, or nothing. */
	if (what & REFINE_RATE) {
		rate = table_make_rate(&set);
		if (!rate)
			return -ENOMEM;
	}
	if (what & (ZYNOV_REFINE_DESCENDANTS | ZYNOV_REFINE_LASTING))
		passed = process_pass_on(clock, what & ZYNOV_REFINE_LASTING);
	if (passed < 0) {
		kfree(rate);
		return passed;
	}
	if (rate) {
		clock->set = set;
		page_change_rate(clock, rate);
	}
	if (passed)
		vvar_forget_clock(clock);
	if (passed || rate)
		waits_follow(clock);
	clock->refined |= what;
	return 0;
}

int table_refine(struct zynov_iov *record, const struct target *target)
{
	struct vclock *clock;
	int error;

	mutex_lock(&table_mutex);
	table_lose_ended_locked();
	clock = table_find(target);
	error = clock ? refine(clock, record) : tell_inherited(record, target);
	if (clock && !error) {
		record->spare = clock->refined;
		record->vtime = clock->set.start.nanoseconds;
		record->origin = clock->set.utc_offset;
		record->base = 0;
	}
	mutex_unlock(&table_mutex);
	return error;
}
