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

// The number of the copy to start: the simulator warns only once of each file.
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

// Runs work in a child. Returns the child's status, or 128 and the signal that ended it.
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
