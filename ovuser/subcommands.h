// The subcommands. Each takes its words, with its own name first, and returns the exit status.
#pragma once

namespace ovuser
{

int add_command(int argc, char **argv);
int apply_command(int argc, char **argv);
int delete_command(int argc, char **argv);
int list_command(int argc, char **argv);
int reset_command(int argc, char **argv);
int run_command(int argc, char **argv);
int save_command(int argc, char **argv);
int set_command(int argc, char **argv);
int show_command(int argc, char **argv);

} // namespace ovuser
