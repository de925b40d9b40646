// The wire contract with the Orvane kernel module: one control file, one record, five commands.
#pragma once

#include <sys/ioctl.h>

#include <cstddef>
#include <cstdint>

#include "base/machine.h"

constexpr char ZYNOV_PATH[] = "/proc/zynov";
constexpr uint64_t ZYNOV_IOV_VERSION = 171;

struct zynov_iov {
    uint64_t version;     // ZYNOV_IOV_VERSION; the module answers EILSEQ to any other
    uint32_t slot;        // get-slot: index into the clock table
    int32_t kernel_error; // left by the module, 0 for none
    int64_t id;           // uid, gid or pid; 0 marks a free slot
    int64_t vtime;        // clock value in seconds since the epoch; delete: the identity kind
    uint64_t flags;       // bits 0-3 kind, bits 4-7 relative mode, bits 8 and up rewind
    int64_t speed;        // low 32 bits count; high-mark: the highest slot in use
    int64_t base;         // left by the module: base + origin is the date a rewinding clock holds
    int64_t origin;       // the instant a relative clock starts from, 0 for none
    uint64_t spare;
    uint64_t container_id; // scope of the clock, 0 on the host
};

enum zynov_flags : uint64_t {
    ZYNOV_KIND_MASK = 0xf,
    ZYNOV_MODE_SHIFT = 4,
    ZYNOV_MODE_MASK = 0xf,
    ZYNOV_REWIND_SHIFT = 8,
    ZYNOV_DATE_HELD_MASK = 0xf'ffff'fff0, // mode or rewind: the listing takes the date from base + origin
};

enum zynov_kind : uint64_t { ZYNOV_NO_KIND = 0, ZYNOV_USER = 1, ZYNOV_GROUP = 2, ZYNOV_PROCESS = 3 };

constexpr int64_t ZYNOV_FASTEST = 1000; // beyond, a clock stands still

enum zynov_command : unsigned long {
    ZYNOV_IOC_ADD_CLOCK = _IOWR('S', 2, zynov_iov),
    ZYNOV_IOC_DELETE_CLOCK = _IOW('S', 3, zynov_iov),
    ZYNOV_IOC_GET_SLOT = _IOWR('S', 4, zynov_iov),
    ZYNOV_IOC_RESET_ALL = _IOW('S', 5, zynov_iov),
    ZYNOV_IOC_HIGH_MARK = _IOWR('S', 6, zynov_iov),
};

static_assert(ZYNOV_IOC_ADD_CLOCK == 0xC0505302 && ZYNOV_IOC_DELETE_CLOCK == 0x40505303 &&
              ZYNOV_IOC_GET_SLOT == 0xC0505304 && ZYNOV_IOC_RESET_ALL == 0x40505305 &&
              ZYNOV_IOC_HIGH_MARK == 0xC0505306);
static_assert(sizeof(zynov_iov) == 80);
static_assert(offsetof(zynov_iov, version) == 0 && offsetof(zynov_iov, slot) == 8 &&
              offsetof(zynov_iov, kernel_error) == 12 && offsetof(zynov_iov, id) == 16 &&
              offsetof(zynov_iov, vtime) == 24 && offsetof(zynov_iov, flags) == 32 &&
              offsetof(zynov_iov, speed) == 40 && offsetof(zynov_iov, base) == 48 &&
              offsetof(zynov_iov, origin) == 56 && offsetof(zynov_iov, spare) == 64 &&
              offsetof(zynov_iov, container_id) == 72);
