// Standard output, and whether all of it was written.
#pragma once

namespace ovuser
{

// To be called before anything is opened: what is opened in the place of a closed standard stream gets to see what is
// written there. Reading and writing fail as ever, and what is executed finds it closed.
void hold_closed_streams();

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
