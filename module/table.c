// SPDX-License-Identifier: GPL-2.0
#include <linux/nospec.h>
#include <linux/pid_namespace.h>
#include <linux/slab.h>
#include <linux/timekeeping.h>

#include "page.h"
#include "process.h"
#include "retired.h"
#include "table.h"
#include "timers.h"
#include "vvar.h"
#include "whose.h"

#define TABLE_SLOTS 1024

static struct vclock *slots[TABLE_SLOTS]; /* under the mutex */

/* A process has one clock, which the host may name without its container. */
static bool is_meant(const struct vclock *clock, const struct target *target)
{
	if (clock->kind != ZYNOV_PROCESS ||
	    (target->container && clock->container != target->container))
		return false;
	if (target->pid)
		return clock->pid == target->pid;
	/* Others still live by it. */
	return table_id(clock) == target->number && permit_see(clock);
}

struct vclock *table_find(const struct target *target)
{
	int slot;

	lockdep_assert_held(&table_mutex);
	if (target->kind == ZYNOV_USER)
		return uid_valid(target->uid) ?
			       user_clock(target->uid, target->container) : NULL;
	if (target->kind == ZYNOV_GROUP)
		return gid_valid(target->gid) ?
			       group_clock(target->gid, target->container) : NULL;
	if (target->number)
		for (slot = 0; slot < TABLE_SLOTS; slot++)
			if (slots[slot] && is_meant(slots[slot], target))
				return slots[slot];
	return NULL;
}

struct vclock_rate *table_make_rate(const struct zynov_clock *set)
{
	struct vclock_rate *made = kmalloc(sizeof(*made), GFP_KERNEL);

	if (made)
		made->rate = zynov_rate_of(set);
	return made;
}

static struct vclock *make_clock(const struct zynov_iov *record,
				 const struct target *target)
{
	struct vclock *clock = kzalloc(sizeof(*clock), GFP_KERNEL);
	struct timespec64 now;

	if (!clock)
		return NULL;
	clock->kind = target->kind;
	clock->uid = target->uid;
	clock->gid = target->gid;
	clock->pid = get_pid(target->pid);
	clock->container = target->container;
	clock->giver = current_uid();
	clock->giver_only = permit_own_only();
	clock->container_given = record->container_id;
	clock->flags = record->flags;
	clock->speed = record->speed;
	clock->origin = record->origin;
	INIT_LIST_HEAD(&clock->refreshed);
	clock->set.start.seconds = record->vtime;
	/* The last tick's, or time() would show less than the start until the next. */
	ktime_get_coarse_real_ts64(&now);
	clock->set.real = instant_of(&now);
	clock->set.speed = record->speed;
	clock->set.rewinds = record->flags >> ZYNOV_REWIND_SHIFT != 0;
	clock->set.utc_offset = -60L * sys_tz.tz_minuteswest;
	RCU_INIT_POINTER(clock->rate, table_make_rate(&clock->set));
	if (rcu_access_pointer(clock->rate) && !page_give(clock))
		return clock;
	free_clock(clock);
	return NULL;
}

static int put(struct vclock *clock, int slot)
{
	int error = 0;

	count_clock(clock, 1);
	clock->slot = slot;
	if (clock->kind == ZYNOV_PROCESS)
		error = process_give(clock->pid, clock);
	else
		link_identity(clock);
	if (error)
		count_clock(clock, -1);
	else
		slots[slot] = clock;
	return error;
}

/* Out of the table, where new readings find it no more. */
static void unlink_clock(struct vclock *clock, struct list_head *gone)
{
	lockdep_assert_held(&table_mutex);
	slots[clock->slot] = NULL;
	if (clock->kind == ZYNOV_PROCESS)
		process_take(clock);
	else
		hlist_del_rcu(&clock->node);
	count_clock(clock, -1);
	page_retire(clock);
	list_add(&clock->gone, gone);
}

void table_lose_ended_locked(void)
{
	struct vclock *clock;
	bool passed_on = false;
	LIST_HEAD(gone);
	int slot;

	lockdep_assert_held(&table_mutex);
	for (slot = 0; slot < TABLE_SLOTS; slot++) {
		clock = slots[slot];
		if (!clock || clock->kind != ZYNOV_PROCESS || !process_has_ended(clock))
			continue;
		passed_on |= process_has_heirs(clock);
		unlink_clock(clock, &gone);
	}
	if (passed_on) {
		vvar_forget_clock(NULL);
		waits_follow(NULL);
	}
	retire_all(&gone);
}

void table_lose_ended(void)
{
	mutex_lock(&table_mutex);
	table_lose_ended_locked();
	mutex_unlock(&table_mutex);
}

static int add(const struct zynov_iov *record, const struct target *target)
{
	/* In any container. */
	const struct target of_process = { .kind = ZYNOV_PROCESS, .pid = target->pid,
					   .number = target->number };
	struct vclock *clock;
	int slot, error;

	table_lose_ended_locked();
	if (target->kind == ZYNOV_PROCESS &&
	    !(target->pid && pid_has_task(target->pid, PIDTYPE_TGID)))
		return -ESRCH;
	if (table_find(target->pid ? &of_process : target))
		return -EEXIST;
	if (record->vtime < ZYNOV_EARLIEST_CLOCK)
		return -EINVAL;
	if (record->vtime > ZYNOV_LATEST_CLOCK)
		return -EOVERFLOW;
	if ((target->kind == ZYNOV_USER && !uid_valid(target->uid)) ||
	    (target->kind == ZYNOV_GROUP && !gid_valid(target->gid)))
		return -EDOM;
	for (slot = 0; slot < TABLE_SLOTS && slots[slot]; slot++)
		;
	if (slot == TABLE_SLOTS || (retired_are_many() && !permit_all()))
		return -ENOSPC;
	clock = make_clock(record, target);
	if (!clock)
		return -ENOMEM;
	error = put(clock, slot);
	if (error) {
		page_take(clock);
		free_clock(clock);
		return error;
	}
	vvar_forget_clock(clock);
	waits_follow(clock);
	return 0;
}

int table_add(const struct zynov_iov *record, const struct target *target)
{
	int error;

	mutex_lock(&table_mutex);
	error = add(record, target);
	mutex_unlock(&table_mutex);
	return error;
}

static void drop(struct vclock *clock)
{
	LIST_HEAD(gone);

	unlink_clock(clock, &gone);
	vvar_forget_clock(clock);
	waits_follow(clock);
	retire_all(&gone);
}

int table_delete(const struct target *target)
{
	struct vclock *clock;

	mutex_lock(&table_mutex);
	table_lose_ended_locked();
	clock = table_find(target);
	if (clock)
		drop(clock);
	mutex_unlock(&table_mutex);
	return clock ? 0 : -EL2HLT;
}

s64 table_id(const struct vclock *clock)
{
	s32 id;

	if (clock->kind == ZYNOV_PROCESS)
		return pid_vnr(clock->pid);
	id = clock->kind == ZYNOV_USER ? from_kuid(current_user_ns(), clock->uid) :
					 from_kgid(current_user_ns(), clock->gid);
	return id == -1 ? 0 : id;
}

static int lose(bool (*who)(const struct vclock *clock, u64 container), u64 container)
{
	LIST_HEAD(gone);
	int slot;

	for (slot = 0; slot < TABLE_SLOTS; slot++)
		if (slots[slot] && who(slots[slot], container))
			unlink_clock(slots[slot], &gone);
	if (list_empty(&gone))
		return -ENOENT;
	vvar_forget_clock(NULL);
	waits_follow(NULL);
	retire_all(&gone);
	return 0;
}

static bool is_resettable(const struct vclock *clock, u64 container)
{
	return clock->container == container && table_id(clock);
}

int table_reset(u64 container)
{
	int error;

	mutex_lock(&table_mutex);
	table_lose_ended_locked();
	error = lose(is_resettable, container);
	mutex_unlock(&table_mutex);
	return error;
}

static bool is_anybodys(const struct vclock *clock, u64 container)
{
	return true;
}

void table_empty(void)
{
	mutex_lock(&table_mutex);
	lose(is_anybodys, 0);
	mutex_unlock(&table_mutex);
	rcu_barrier();
}

static bool is_shown(const struct vclock *clock)
{
	return clock && permit_see(clock) && table_id(clock) &&
	       !(clock->kind == ZYNOV_PROCESS && process_has_ended(clock));
}

int table_get(struct zynov_iov *record)
{
	struct timespec64 now;
	struct vclock *clock;

	if (record->slot >= TABLE_SLOTS)
		return -EINVAL;
	mutex_lock(&table_mutex);
	clock = slots[array_index_nospec(record->slot, TABLE_SLOTS)];
	if (is_shown(clock)) {
		ktime_get_real_ts64(&now);
		record->id = table_id(clock);
		record->vtime = zynov_shown(&rcu_dereference_protected(clock->rate,
						lockdep_is_held(&table_mutex))->rate,
					    instant_of(&now)).seconds;
		record->flags = clock->flags;
		record->speed = clock->speed;
		record->origin = clock->origin;
		record->base = zynov_difference(record->vtime, clock->origin);
		record->container_id = container_of_current() ? clock->container_given :
								clock->container;
	} else {
		record->id = 0;
	}
	mutex_unlock(&table_mutex);
	return 0;
}

s64 table_high_mark(void)
{
	int slot;

	mutex_lock(&table_mutex);
	for (slot = TABLE_SLOTS - 1; slot >= 0 && !is_shown(slots[slot]); slot--)
		;
	mutex_unlock(&table_mutex);
	return slot;
}
