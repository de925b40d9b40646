/* SPDX-License-Identifier: GPL-2.0 */
/*
 * Who may do what. The engine refuses the same before it asks, in its own
 * words; but anybody may open the file. Callers count by their real user.
 */
#ifndef ZYNOV_PERMIT_H
#define ZYNOV_PERMIT_H

#include "vclock.h"

/* Whom a command names. */
struct target {
	enum zynov_kind kind;
	kuid_t uid;
	kgid_t gid;
	struct pid *pid; /* with a reference; NULL when it is not there */
	s64 number;	 /* the process's, by which its clock is found then */
	u64 container;
};

bool permit_all(void); /* for root of the host's user namespace */
bool permit_own_only(void); /* the caller may give clocks to his own processes only */
int permit_change(const struct target *target);
int permit_ask(const struct target *target); /* for a clock, whoever gave it */
bool permit_see(const struct vclock *clock);

/* The container that a command is about, when its record names one. */
int permit_container(u64 *container);

#endif
