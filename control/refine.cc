#include "base/integer.h"
#include "control/control.h"
#include "ov_helper.h"

// A request's bits are sent unchanged.
static_assert(+OV_REFINE_NANOSECONDS == ZYNOV_REFINE_NANOSECONDS && +OV_REFINE_UTC_OFFSET == ZYNOV_REFINE_UTC_OFFSET &&
              +OV_REFINE_DESCENDANTS == ZYNOV_REFINE_DESCENDANTS && +OV_REFINE_LASTING == ZYNOV_REFINE_LASTING);

namespace ov
{

int refine(const ControlFile &control, uint64_t container, int32_t kind, int32_t id, const ov_refined &wanted)
{
    clear_record();
    theiov.id = id;
    theiov.vtime = wanted.nanoseconds;
    theiov.flags = static_cast<uint32_t>(kind);
    theiov.origin = wanted.utc_offset;
    theiov.spare = wanted.what;
    theiov.container_id = container;
    return send_command(control.descriptor(), ZYNOV_IOC_REFINE_CLOCK) == 0 ? 0 : -1;
}

} // namespace ov

int ov_refine_clock(int32_t kind, uint32_t id, int32_t nanoseconds, int32_t utc_offset, uint32_t what)
{
    const ov::ControlFile control;
    if (!control.is_open())
        return -1;
    const auto sent_id = static_cast<int32_t>(id); // as add sends it
    return ov::refine(control, zyn_get_container_ID(), kind, sent_id, {what, 0, 0, nanoseconds, utc_offset});
}

int ov_refined_clock(int32_t kind, uint32_t id, ov_refined *refined)
{
    if (ov_refine_clock(kind, id, 0, 0, 0) != 0)
        return -1;
    const zynov_iov &answer = ov::theiov;
    *refined = {static_cast<uint32_t>(answer.spare), static_cast<uint32_t>(answer.id), ov::low_32(answer.base),
                ov::low_32(answer.vtime), ov::low_32(answer.origin)};
    return 0;
}
