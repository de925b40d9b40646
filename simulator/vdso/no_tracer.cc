// For machines without a vDSO.
#include <cerrno>

#include "simulator/vdso/tracer.h"

namespace sim
{

int Tracer::start(Traced, const char *, bool)
{
    return ENOSYS;
}
Tracer::~Tracer() {} // NOLINT(performance-trivially-destructible): elsewhere it has work to do
void Tracer::give_up() {}

} // namespace sim
