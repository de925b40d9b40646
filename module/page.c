// SPDX-License-Identifier: GPL-2.0
#include <linux/mm.h>
#include <linux/pvclock_gtod.h>
#include <linux/slab.h>

#include "arch.h"
#include "page.h"
#include "whose.h"

static const struct vdso_data *kernel_data; /* the kernel's own */

/*
 * Guards the contents of all pages. It is taken inside the timekeeper's locks:
 * who holds it must not ask the timekeeper.
 */
static DEFINE_RAW_SPINLOCK(contents_lock);
static LIST_HEAD(refreshed); /* clocks whose page somebody has mapped */

static struct page *mixed_page;

/* Pages without a clock. They are kept, should a page table still know one. */
static LIST_HEAD(spare_pages); /* under the table's mutex */
static bool keep_pages; /* for good */

struct snapshot {
	struct vdso_data data[CS_BASES];
	struct zynov_instant coarse;
};

/* Under contents_lock. On another processor the kernel may be writing: it does not wait for us. */
static void take_snapshot(struct snapshot *snapshot)
{
	const struct vdso_timestamp *times = snapshot->data[CS_HRES_COARSE].basetime;
	u32 sequence;

	do {
		while ((sequence = READ_ONCE(kernel_data->seq)) & 1)
			cpu_relax();
		smp_rmb(); /* the data after its count */
		memcpy(snapshot->data, kernel_data, sizeof(snapshot->data));
		smp_rmb(); /* and its count again after it */
	} while (READ_ONCE(kernel_data->seq) != sequence);
	snapshot->coarse.seconds = times[CLOCK_REALTIME_COARSE].sec;
	snapshot->coarse.nanoseconds = times[CLOCK_REALTIME_COARSE].nsec;
}

static bool has_constant_offset(const struct zynov_rate *rate)
{
	return rate->multiplier == 1 && rate->divisor == 1 && !rate->rewinds;
}

static void move_time(struct vdso_timestamp *time, u32 shift,
		      const struct zynov_rate *rate)
{
	const struct zynov_instant offset =
		zynov_later(rate->start, -rate->real.seconds, -rate->real.nanoseconds);
	const u64 second = (u64)NSEC_PER_SEC << shift;

	time->sec += offset.seconds;
	time->nsec += (u64)offset.nanoseconds << shift;
	if (time->nsec >= second) {
		time->nsec -= second;
		time->sec++;
	}
}

/* The kernel's data as a clock has it; the real time by system call without one. */
static void move_data(struct vdso_data *data, const struct snapshot *snapshot,
		      const struct zynov_rate *rate)
{
	const struct zynov_instant coarse =
		rate ? zynov_shown(rate, snapshot->coarse) : snapshot->coarse;

	memcpy(data, snapshot->data, sizeof(snapshot->data));
	data += CS_HRES_COARSE;
	if (rate && has_constant_offset(rate)) {
		move_time(&data->basetime[CLOCK_REALTIME], data->shift, rate);
		move_time(&data->basetime[CLOCK_TAI], data->shift, rate);
	} else {
		data->clock_mode = VDSO_CLOCKMODE_NONE;
		data->basetime[CLOCK_REALTIME].sec = coarse.seconds; /* for time() */
	}
	data->basetime[CLOCK_REALTIME_COARSE].sec = coarse.seconds;
	data->basetime[CLOCK_REALTIME_COARSE].nsec = coarse.nanoseconds;
}

/* Word by word, since time() reads one without a look at the sequence count. */
static void fill(struct page *page, const struct snapshot *snapshot,
		 const struct zynov_rate *rate)
{
	struct vdso_data moved[CS_BASES], *data = page_address(page) + VDSO_DATA_OFFSET;
	int base, word;

	move_data(moved, snapshot, rate);
	for (base = 0; base < CS_BASES; base++)
		WRITE_ONCE(data[base].seq, data[base].seq + 1);
	smp_wmb(); /* odd counts before the data */
	for (base = 0; base < CS_BASES; base++) {
		const u64 *from = (u64 *)&moved[base];
		u64 *to = (u64 *)&data[base];

		WRITE_ONCE(data[base].clock_mode, moved[base].clock_mode);
		for (word = 1; word < sizeof(*data) / sizeof(u64); word++)
			WRITE_ONCE(to[word], from[word]);
	}
	smp_wmb(); /* the data before even ones */
	for (base = 0; base < CS_BASES; base++)
		WRITE_ONCE(data[base].seq, data[base].seq + 1);
}

static void fill_for(const struct vclock *clock, const struct snapshot *snapshot)
{
	fill(clock->page, snapshot, clock->retired ? NULL :
	     &rcu_dereference_protected(clock->rate, lockdep_is_held(&contents_lock))->rate);
}

/* In an interrupt, with the timekeeper's locks: the kernel's page is at rest. */
static int on_tick(struct notifier_block *block, unsigned long was_set, void *timekeeper)
{
	struct snapshot snapshot;
	struct vclock *clock;

	if (!table_in_use() && list_empty(&refreshed))
		return NOTIFY_OK;
	raw_spin_lock(&contents_lock);
	take_snapshot(&snapshot);
	fill(mixed_page, &snapshot, NULL);
	list_for_each_entry(clock, &refreshed, refreshed)
		fill_for(clock, &snapshot);
	raw_spin_unlock(&contents_lock);
	return NOTIFY_OK;
}

static struct notifier_block tick = { .notifier_call = on_tick };

/* A clock's page is kept up to date from the first time that somebody maps it. */
void page_refresh(struct vclock *clock)
{
	struct snapshot snapshot;
	unsigned long flags;

	raw_spin_lock_irqsave(&contents_lock, flags);
	if (list_empty(&clock->refreshed)) {
		take_snapshot(&snapshot);
		fill_for(clock, &snapshot);
		list_add(&clock->refreshed, &refreshed);
	}
	raw_spin_unlock_irqrestore(&contents_lock, flags);
}

/* It may be from when somebody last had a clock, and no tick has come since. */
struct page *page_of_mixed(void)
{
	struct snapshot snapshot;
	unsigned long flags;

	raw_spin_lock_irqsave(&contents_lock, flags);
	take_snapshot(&snapshot);
	fill(mixed_page, &snapshot, NULL);
	raw_spin_unlock_irqrestore(&contents_lock, flags);
	return mixed_page;
}

void page_change_rate(struct vclock *clock, struct vclock_rate *rate)
{
	struct vclock_rate *old;
	struct snapshot snapshot;
	unsigned long flags;

	raw_spin_lock_irqsave(&contents_lock, flags);
	old = rcu_replace_pointer(clock->rate, rate, lockdep_is_held(&contents_lock));
	if (!list_empty(&clock->refreshed)) {
		take_snapshot(&snapshot);
		fill_for(clock, &snapshot);
	}
	raw_spin_unlock_irqrestore(&contents_lock, flags);
	kfree_rcu(old, rcu);
}

void page_retire(struct vclock *clock)
{
	struct snapshot snapshot;
	unsigned long flags;

	raw_spin_lock_irqsave(&contents_lock, flags);
	clock->retired = true;
	if (!list_empty(&clock->refreshed)) {
		take_snapshot(&snapshot);
		fill_for(clock, &snapshot);
	}
	raw_spin_unlock_irqrestore(&contents_lock, flags);
}

int page_give(struct vclock *clock)
{
	lockdep_assert_held(&table_mutex);
	clock->page = list_first_entry_or_null(&spare_pages, struct page, lru);
	if (clock->page)
		list_del(&clock->page->lru);
	else
		clock->page = alloc_page(GFP_KERNEL | __GFP_ZERO);
	return clock->page ? 0 : -ENOMEM;
}

void page_take(struct vclock *clock)
{
	unsigned long flags;

	lockdep_assert_held(&table_mutex);
	raw_spin_lock_irqsave(&contents_lock, flags);
	list_del_init(&clock->refreshed);
	raw_spin_unlock_irqrestore(&contents_lock, flags);
	list_add(&clock->page->lru, &spare_pages);
}

int page_init(const struct vdso_data *data)
{
	mixed_page = alloc_page(GFP_KERNEL | __GFP_ZERO);
	if (!mixed_page) {
		pr_err("zynov: no memory for a page\n");
		return -ENOMEM;
	}
	kernel_data = data;
	pvclock_gtod_register_notifier(&tick);
	return 0;
}

void page_keep(const char *why)
{
	pr_warn("zynov: %s: the pages of all clocks stay in memory\n", why);
	keep_pages = true;
}

void page_exit(void)
{
	struct page *page, *next;

	pvclock_gtod_unregister_notifier(&tick);
	if (keep_pages)
		return;
	list_for_each_entry_safe(page, next, &spare_pages, lru)
		__free_page(page);
	__free_page(mixed_page);
}
