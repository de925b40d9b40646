/* SPDX-License-Identifier: GPL-2.0 */
/* Address spaces that find their page anew a little later. */
#ifndef ZYNOV_LATER_H
#define ZYNOV_LATER_H

#include <linux/mm_types.h>

/* The function that makes one do so; false if somebody holds its lock. */
void later_init(bool (*forget)(struct mm_struct *mm));

/* In some 50 milliseconds, or when its lock is free. False without memory. */
bool later_forget(struct mm_struct *mm, gfp_t flags);

/* As soon as nobody else holds its lock, which may be never; sleeps. */
void later_busy(struct mm_struct *mm);

/* Waits for those, a few seconds at most. One that takes longer is not waited for again. */
void later_wait(void);
bool later_is_busy(void);

/* At the end: waits for all, a minute at most. False if that was too short. */
bool later_exit(void);

#endif
