// Standard output, and why it failed: of that, stdio remembers no more than that it did.
#pragma once

namespace ovuser
{

// To be asked right behind what writes a lot.
bool output_works();

// To be called before a line on standard error, so that where both go to one place, each line stands behind the one
// that was written before.
void flush_output();

// Writes out what is left. Returns the exit status, which is a failure where anything could not be written.
int finish_output(int status);

} // namespace ovuser
