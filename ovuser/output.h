// Standard output, and whether all of it was written.
#pragma once

namespace ovuser
{

// False once anything could not be written: who writes a lot may stop. To be asked right behind what writes, while
// errno tells why.
bool output_works();

// To be called before a line on standard error, so that where both go to one place, each line stands behind the one
// that was written before.
void flush_output();

// Writes out what is left, and closes it. Returns the exit status, which is a failure where anything could not be
// written.
int finish_output(int status);

} // namespace ovuser
