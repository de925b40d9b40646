/* SPDX-License-Identifier: GPL-2.0 */
/* What is said of a clock beyond the record that adds it. */
#ifndef ZYNOV_REFINE_H
#define ZYNOV_REFINE_H

#include "permit.h"

/* Returns 0 or a negative errno. */
int table_refine(struct zynov_iov *record, const struct target *target);

#endif
