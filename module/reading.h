/* SPDX-License-Identifier: GPL-2.0 */
/* What shows the time by system call, in the place of the kernel's own. */
#ifndef ZYNOV_READING_H
#define ZYNOV_READING_H

#include <linux/ftrace.h>
#include <linux/time64.h>
#include <linux/timex.h>

int read_realtime(clockid_t which, struct timespec64 *time);
int read_coarse(clockid_t which, struct timespec64 *time);
int read_tai(clockid_t which, struct timespec64 *time);
int read_alarm(clockid_t which, struct timespec64 *time);
long read_gettimeofday(struct pt_regs *regs);
long read_gettimeofday_32(struct pt_regs *regs);
long read_time(struct pt_regs *regs);
long read_time_32(struct pt_regs *regs);
int may_set_time(const struct timespec64 *time, const struct timezone *zone);

/* In the place of do_adjtimex(record) where a clocked program would change something. */
bool changes_time(struct ftrace_regs *regs);
int refuse_adjtimex(struct __kernel_timex *request);

/* Before __do_adjtimex(record, time, ...), with the timekeeper's locks. */
void before_adjtimex(struct ftrace_regs *regs);

#endif
