#include "simulator/table/faults.h"

#include <cinttypes>
#include <cstdio>
#include <cstring>

namespace sim
{

struct Field {
    const char *name;
    size_t offset, size;
};

#define FIELD(name)                                                                                                    \
    {                                                                                                                  \
#name, offsetof(zynov_iov, name), sizeof(zynov_iov::name)                                                      \
    }

static constexpr Field fields[] = {FIELD(version), FIELD(slot),  FIELD(kernel_error), FIELD(id),
                                   FIELD(vtime),   FIELD(flags), FIELD(speed),        FIELD(base),
                                   FIELD(origin),  FIELD(spare), FIELD(container_id)};

static const Field *find_field(const char *name)
{
    for (const Field &field : fields)
        if (strcmp(field.name, name) == 0)
            return &field;
    return nullptr;
}

bool Faults::read(const char *script)
{
    count_ = 0;
    while (script != nullptr && *script != '\0') {
        if (count_ == faults_.size())
            return false;
        Fault fault = {};
        int length = 0;
        if (sscanf(script, "%" SCNu64 ":%d:%d%n", &fault.call, &fault.result, &fault.error, &length) != 3)
            return false;
        script += length;
        char name[16];
        if (sscanf(script, ":%15[a-z_]=%" SCNd64 "%n", name, &fault.value, &length) == 2) {
            const Field *field = find_field(name);
            if (field == nullptr)
                return false;
            fault.offset = field->offset;
            fault.size = field->size;
            script += length;
        }
        faults_[count_++] = fault;
        if (*script == ',' && script[1] != '\0')
            ++script;
        else if (*script != '\0')
            return false;
    }
    return true;
}

bool Faults::play(uint64_t call, zynov_iov &record, int &result, int &error) const
{
    bool played = false;
    for (size_t i = 0; i < count_; ++i) {
        const Fault &fault = faults_[i];
        if (fault.call != call)
            continue;
        played = true;
        result = fault.result;
        error = fault.error;
        memcpy(reinterpret_cast<char *>(&record) + fault.offset, &fault.value, fault.size); // little-endian
    }
    return played;
}

} // namespace sim
