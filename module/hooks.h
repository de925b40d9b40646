/* SPDX-License-Identifier: GPL-2.0 */
/*
 * The kernel's functions that this module stands in for, or whose arguments it
 * changes: by ftrace, whose ways are exported and told to who looks.
 */
#ifndef ZYNOV_HOOKS_H
#define ZYNOV_HOOKS_H

int hooks_init(void);
void hooks_exit(void); /* when it returns nobody is in any of them */

#endif
