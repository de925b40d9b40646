/* SPDX-License-Identifier: GPL-2.0 */
/*
 * The vDSO's data as a clock has it: a copy of the kernel's page that is moved,
 * and refreshed at each tick.
 */
#ifndef ZYNOV_PAGE_H
#define ZYNOV_PAGE_H

#include <linux/mm_types.h>
#include <vdso/datapage.h>

#include "vclock.h"

/*
 * For address spaces whose tasks live by different clocks: every reading is a
 * system call. What never is one shows the real time.
 */
struct page *page_of_mixed(void);

int page_init(const struct vdso_data *data);
void page_exit(void);

/*
 * Under the table's mutex: a page for a clock; from its end on it shows the
 * real time by system call; and its return.
 */
int page_give(struct vclock *clock);
void page_retire(struct vclock *clock);
void page_take(struct vclock *clock);

/* Has the pages stay in memory when the module goes. */
void page_keep(const char *why);

/* From now on a clock's page is kept up to date: somebody maps it. */
void page_refresh(struct vclock *clock);

/* Puts another rate in the place of a clock's, and into its page. */
void page_change_rate(struct vclock *clock, struct vclock_rate *rate);

#endif
