// For architectures without a vDSO of ours.
#include <cerrno>

#include "simulator/vdso/tracer.h"

namespace sim
{

int Tracer::start(Traced, const char *, bool, bool, bool)
{
    return ENOSYS;
}
Tracer::~Tracer() {} // NOLINT(performance-trivially-destructible): not trivial in tracer.cc
void Tracer::give_up() {}

} // namespace sim
