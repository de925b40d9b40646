/* SPDX-License-Identifier: GPL-2.0 */
/* The control file. */
#ifndef ZYNOV_PROC_H
#define ZYNOV_PROC_H

int proc_init(void);
void proc_exit(void); /* when it returns no command is under way */

#endif
