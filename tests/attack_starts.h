// Helpers that attack_starts.cc and attack_reasons.cc share.
#pragma once

#include <climits>
#include <cstring>
#include <filesystem>
#include <string>

#include "tests/attack.h"

constexpr int nobody = 65534, with_clock = 0, in_real_time = 1, with_child = 2;
inline char program[PATH_MAX];
inline char *const arguments[] = {program, nullptr};

// Starts a new copy from now on, since each file is warned of only once.
inline int copies;
inline void copy_program()
{
    std::string name = program;
    name.resize(name.rfind("started") + strlen("started"));
    const std::string copy = name + '.' + std::to_string(++copies);
    std::filesystem::copy_file(name, copy, std::filesystem::copy_options::overwrite_existing);
    strcpy(program, copy.c_str());
}

inline void execute()
{
    execv(program, arguments);
    _exit(127);
}

// Returns the status of a child that does something, 128 and more for a signal.
inline int outcome(const std::function<void()> &work)
{
    int status = 0;
    waitpid(start(work), &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

inline void expect(const char *what, int expected, const std::function<void()> &work)
{
    if (const int seen = outcome(work); seen != expected)
        complain(what, seen);
}

// Warnings of programs that keep the real time, and calls that must not be made.
void warn_into_pipes();
void name_reasons();
void live_in_filter();
