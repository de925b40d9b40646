/* SPDX-License-Identifier: GPL-2.0 WITH Linux-syscall-note */
/*
 * The interface of the Orvane kernel module: one control file, one record, and six commands. The library, the simulator
 * and the module compile this file.
 */
#ifndef ZYNOV_H
#define ZYNOV_H

#ifdef __KERNEL__
#include <linux/ioctl.h>
#include <linux/types.h>
#else
#include <stdint.h>
#include <sys/ioctl.h>
#endif

#define ZYNOV_PATH "/proc/zynov"
#define ZYNOV_IOV_VERSION 171

struct zynov_iov {
    uint64_t version;      /* ZYNOV_IOV_VERSION; the module answers EILSEQ to any other */
    uint32_t slot;         /* get-slot: index into the clock table */
    int32_t kernel_error;  /* set by the module, 0 for none */
    int64_t id;            /* uid, gid or pid; 0 marks a free slot */
    int64_t vtime;         /* clock value in seconds since the epoch; delete: the identity kind */
    uint64_t flags;        /* bits 0-3 kind, bits 4-7 relative mode, bits 8 and up rewind */
    int64_t speed;         /* low 32 bits count; high-mark: the highest slot in use */
    int64_t base;          /* set by the module: base + origin is the date a rewinding clock holds */
    int64_t origin;        /* the instant at which a relative clock starts, 0 for none */
    uint64_t spare;        /* refine: ZYNOV_REFINE_ bits */
    uint64_t container_id; /* scope of the clock, 0 on the host */
};

/* The fields of flags. */
#define ZYNOV_KIND_MASK 0xfULL
#define ZYNOV_MODE_SHIFT 4
#define ZYNOV_MODE_MASK 0xfULL
#define ZYNOV_REWIND_SHIFT 8
#define ZYNOV_DATE_HELD_MASK 0xffffffff0ULL /* mode or rewind: the listing takes the date from base + origin */

enum zynov_kind { ZYNOV_NO_KIND = 0, ZYNOV_USER = 1, ZYNOV_GROUP = 2, ZYNOV_PROCESS = 3 };

/*
 * The refine command names an existing clock by id, kind (in flags) and container_id, as add does. The bits of spare
 * say what it sets; without any it only queries. It returns the clock's values in spare, vtime and origin. For a
 * process that uses an ancestor's clock, it returns the ancestor's id in id and the number of generations in base,
 * which is 0 for a clock of its own. ENOENT: there is no clock. Whoever may add a clock may refine it.
 */
#define ZYNOV_REFINE_NANOSECONDS 0x1ULL /* vtime: 0 to 999999999, added to the instant at which the clock starts */
#define ZYNOV_REFINE_UTC_OFFSET 0x2ULL  /* origin: seconds east of UTC, where a rewinding clock has its midnight */
#define ZYNOV_REFINE_DESCENDANTS 0x4ULL /* later descendants use the clock too; processes only */
#define ZYNOV_REFINE_LASTING 0x8ULL     /* and it ends with the last of them, not with its process */

#define ZYNOV_IOC_ADD_CLOCK _IOWR('S', 2, struct zynov_iov)
#define ZYNOV_IOC_DELETE_CLOCK _IOW('S', 3, struct zynov_iov)
#define ZYNOV_IOC_GET_SLOT _IOWR('S', 4, struct zynov_iov)
#define ZYNOV_IOC_RESET_ALL _IOW('S', 5, struct zynov_iov)
#define ZYNOV_IOC_HIGH_MARK _IOWR('S', 6, struct zynov_iov)
#define ZYNOV_IOC_REFINE_CLOCK _IOWR('S', 7, struct zynov_iov) /* ENOTTY from a module that does not know it */

#ifdef __cplusplus
#define ZYNOV_ASSERT(what) static_assert(what)
#else
#define ZYNOV_ASSERT(what) _Static_assert(what, #what)
#endif
#define ZYNOV_AT(offset, field) ZYNOV_ASSERT(__builtin_offsetof(struct zynov_iov, field) == (offset))

ZYNOV_ASSERT(ZYNOV_IOC_ADD_CLOCK == 0xC0505302);
ZYNOV_ASSERT(ZYNOV_IOC_DELETE_CLOCK == 0x40505303);
ZYNOV_ASSERT(ZYNOV_IOC_GET_SLOT == 0xC0505304);
ZYNOV_ASSERT(ZYNOV_IOC_RESET_ALL == 0x40505305);
ZYNOV_ASSERT(ZYNOV_IOC_HIGH_MARK == 0xC0505306);
ZYNOV_ASSERT(ZYNOV_IOC_REFINE_CLOCK == 0xC0505307);
ZYNOV_ASSERT(sizeof(struct zynov_iov) == 80);
ZYNOV_AT(0, version);
ZYNOV_AT(8, slot);
ZYNOV_AT(12, kernel_error);
ZYNOV_AT(16, id);
ZYNOV_AT(24, vtime);
ZYNOV_AT(32, flags);
ZYNOV_AT(40, speed);
ZYNOV_AT(48, base);
ZYNOV_AT(56, origin);
ZYNOV_AT(64, spare);
ZYNOV_AT(72, container_id);

#undef ZYNOV_ASSERT
#undef ZYNOV_AT

#endif
