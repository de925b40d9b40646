// SPDX-License-Identifier: GPL-2.0
#include <linux/hashtable.h>
#include <linux/sched/signal.h>
#include <linux/slab.h>

#include "armed.h"
#include "wait.h"

/* What a timer was armed for. It is found by the timer's address. */
struct armed {
	struct hlist_node node;
	const union any_timer *timer;
	struct pid *owner;	/* the process that armed it */
	struct lives_by by;
	ktime_t instant;	/* that this clock is to show */
	ktime_t end;		/* the real one, at which it expires */
};

/* Anybody may have half a million, and all who arm one look here. */
static DEFINE_HASHTABLE(armed_timers, 13);
static DEFINE_SPINLOCK(armed_lock); /* within the locks of a timer */

static struct armed *find(const union any_timer *timer)
{
	struct armed *armed;

	hash_for_each_possible(armed_timers, armed, node, (unsigned long)timer)
		if (armed->timer == timer)
			return armed;
	return NULL;
}

static struct armed *find_or_add(const union any_timer *timer)
{
	struct armed *armed = find(timer);

	if (armed)
		return armed;
	armed = kzalloc(sizeof(*armed), GFP_ATOMIC);
	if (armed) {
		armed->timer = timer;
		hash_add(armed_timers, &armed->node, (unsigned long)timer);
	}
	return armed;
}

static void drop(struct armed *armed)
{
	hash_del(&armed->node);
	put_pid(armed->owner);
	kfree(armed);
}

void armed_forget(const union any_timer *timer)
{
	struct armed *armed;
	unsigned long flags;

	spin_lock_irqsave(&armed_lock, flags);
	armed = find(timer);
	if (armed)
		drop(armed);
	spin_unlock_irqrestore(&armed_lock, flags);
}

void armed_forget_all(void)
{
	struct hlist_node *next;
	struct armed *armed;
	unsigned long flags;
	int chain;

	spin_lock_irqsave(&armed_lock, flags);
	hash_for_each_safe(armed_timers, chain, next, armed, node)
		drop(armed);
	spin_unlock_irqrestore(&armed_lock, flags);
}

static void set_owner(struct armed *armed, struct task_struct *task)
{
	put_pid(armed->owner);
	armed->owner = get_pid(task_tgid(task));
}

static ktime_t end_of(const struct lives_by *by, clockid_t which, ktime_t instant)
{
	struct timespec64 time = ktime_to_timespec64(instant);

	if (!by->clock)
		return instant;
	wait_turn(&by->rate, which, &time);
	return timespec64_to_ktime(time);
}

/* The other way: what a clock shows at a real instant. */
static ktime_t instant_at(const struct lives_by *by, clockid_t which, ktime_t end)
{
	const struct timespec64 ahead = wait_ahead(which);
	struct timespec64 time = timespec64_sub(ktime_to_timespec64(end), ahead);

	if (!by->clock)
		return end;
	time = time_of(zynov_shown(&by->rate, instant_of(&time)));
	return timespec64_to_ktime(timespec64_add(time, ahead));
}

static bool is_same(const struct lives_by *one, const struct lives_by *other)
{
	return one->clock == other->clock &&
	       (!one->clock || !memcmp(&one->rate, &other->rate, sizeof(one->rate)));
}

ktime_t armed_note(const union any_timer *timer, clockid_t which, ktime_t instant)
{
	struct lives_by by;
	struct armed *armed;
	unsigned long flags;
	ktime_t end;

	by.clock = wait_rate(current, &by.rate);
	end = end_of(&by, which, instant);
	spin_lock_irqsave(&armed_lock, flags);
	armed = find_or_add(timer);
	if (armed) {
		set_owner(armed, current);
		armed->by = by;
		armed->instant = instant;
		armed->end = end;
	}
	spin_unlock_irqrestore(&armed_lock, flags);
	return end;
}

static bool is_alarm(const struct timer_seen *seen)
{
	return seen->which == CLOCK_REALTIME_ALARM;
}

static ktime_t expires(const struct timer_seen *seen)
{
	return is_alarm(seen) ? seen->timer->alarm.node.expires :
				hrtimer_get_expires(&seen->timer->timer);
}

/* False when it is not waiting. One that expires right now waits for its lock. */
static bool move(const struct timer_seen *seen, ktime_t end)
{
	const int was = is_alarm(seen) ? alarm_try_to_cancel(&seen->timer->alarm) :
					 hrtimer_try_to_cancel(&seen->timer->timer);

	if (was == 1 && is_alarm(seen))
		alarm_start(&seen->timer->alarm, end);
	else if (was == 1)
		hrtimer_start(&seen->timer->timer, end, HRTIMER_MODE_ABS);
	else if (was == 0 && seen->silent && is_alarm(seen))
		seen->timer->alarm.node.expires = end;
	else if (was == 0 && seen->silent)
		hrtimer_set_expires(&seen->timer->timer, end);
	return was == 1 || (was == 0 && seen->silent);
}

static bool is_others(const struct armed *armed, struct task_struct *task)
{
	return armed->owner != task_tgid(task) && pid_has_task(armed->owner, PIDTYPE_TGID);
}

/* Under the lock. A timer without a note was armed by the real time. */
static bool follow(const struct timer_seen *seen, struct task_struct *task,
		   const struct lives_by *by)
{
	static const struct lives_by real;
	struct armed *armed = find(seen->timer);
	const ktime_t end = expires(seen);
	ktime_t instant = end;

	if (armed ? is_others(armed, task) : !seen->absolute)
		return false;
	if (is_same(armed ? &armed->by : &real, by))
		return false;
	if (armed)
		/* Its periods have a length. */
		instant = armed->end == end ? armed->instant :
					      instant_at(&armed->by, seen->which, end);
	else
		armed = find_or_add(seen->timer);
	if (!armed)
		return false;
	set_owner(armed, task);
	armed->by = *by;
	armed->instant = instant;
	armed->end = end_of(by, seen->which, instant);
	if (!move(seen, armed->end))
		armed->end = end;
	return true;
}

bool armed_follow(const struct timer_seen *seen, struct task_struct *task,
		  const struct lives_by *by)
{
	unsigned long flags;
	bool followed;

	spin_lock_irqsave(&armed_lock, flags);
	followed = follow(seen, task, by);
	spin_unlock_irqrestore(&armed_lock, flags);
	return followed;
}
