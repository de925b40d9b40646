#pragma once

namespace ov
{

// The exit statuses of a program that executes a command, as env(1) has them. own_failure: the command was not tried.
enum ExitStatus { own_failure = 125, cannot_execute = 126, not_found = 127 };

} // namespace ov
