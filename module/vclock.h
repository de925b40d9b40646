/* SPDX-License-Identifier: GPL-2.0 */
/* One clock, and the instants of the contract in the kernel's terms. */
#ifndef ZYNOV_VCLOCK_H
#define ZYNOV_VCLOCK_H

#include <linux/list.h>
#include <linux/pid.h>
#include <linux/rcupdate.h>
#include <linux/time64.h>
#include <linux/uidgid.h>

#include "zynov.h"
#include "clock.h"

/* What a clock shows; replaced as a whole when the clock is refined. */
struct vclock_rate {
	struct zynov_rate rate;
	struct rcu_head rcu;
};

struct vclock {
	struct hlist_node node; /* a user's or group's, in its chain */
	u32 slot;
	enum zynov_kind kind;
	kuid_t uid;
	kgid_t gid;
	struct pid *pid;
	kuid_t giver;
	bool giver_only; /* programs of other users do not see it */
	u64 container;
	u64 container_given; /* 0 too, from within it */
	u64 flags; /* as on the wire, as the next two */
	s64 speed;
	s64 origin;
	u64 refined;	     /* ZYNOV_REFINE_ bits */
	struct tree *tree;   /* of a process's that is passed on */
	struct zynov_clock set;
	struct vclock_rate __rcu *rate;
	struct page *page;	      /* what the vDSO reads of it */
	bool retired;		      /* who still has its page mapped reads by system calls */
	struct list_head refreshed;   /* empty until somebody has it mapped */
	struct list_head gone;
	struct rcu_head rcu;
};

/* Whether a process's clock is for programs of such a user. */
static inline bool reaches(const struct vclock *clock, kuid_t euid)
{
	return !clock->giver_only || uid_eq(clock->giver, euid);
}

static inline struct zynov_instant instant_of(const struct timespec64 *time)
{
	return (struct zynov_instant){ time->tv_sec, time->tv_nsec };
}

static inline struct timespec64 time_of(struct zynov_instant instant)
{
	return (struct timespec64){ instant.seconds, instant.nanoseconds };
}

#endif
