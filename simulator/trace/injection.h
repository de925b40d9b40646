#pragma once

#include "simulator/image/layout.h"
#include "simulator/trace/tracee.h"

namespace sim
{

// Puts the image into a program that is stopped where execve told of its success, so that it lives by its clock. The
// config says what is known beforehand; the rest is filled in. False when the program is to go on as it is, which
// nothing was done to.
bool inject_image(Tracee &program, ImageConfig &config);

} // namespace sim
