// Who this process is: what decides which clock it lives by.
#pragma once

#include <sys/types.h>

#include <atomic>
#include <cstdint>

namespace sim
{

// What a process knows of itself from its start, or from the fork that made it. What has to be read from a file is
// read then, since later it may not be there.
struct Self {
    uint64_t container_id;
    pid_t pid;
    uint64_t birth;
};
extern Self self;

// Counts the changes of this process's identity: by fork and the set*id calls.
extern std::atomic<uint64_t> identity_version;

// Reads what self says. After a fork, know_oneself is enough.
void know_container();
void know_oneself();

} // namespace sim
