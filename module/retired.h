/* SPDX-License-Identifier: GPL-2.0 */
/* Clocks that are out of the table, whose page somebody may still have mapped. */
#ifndef ZYNOV_RETIRED_H
#define ZYNOV_RETIRED_H

#include "vclock.h"

/* Under the table's mutex: takes over clocks, and frees what it may, also without any. */
void retire_all(struct list_head *gone);
bool retired_are_many(void);

void free_clock(struct vclock *clock); /* that nobody has seen */

#endif
