// The C library as the engine sees it, scripted: users, processes, files, the real clock and the kernel's
// answers. While no script is in force every call goes through.
#pragma once

#include <sys/types.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "contract/zynov.h"
#include "ov_helper.h"

// What came of a call. It is good when the control file and the streams of popen were closed, and the message is one
// of the engine's.
struct Outcome {
    int result, calls;
    bool good;
    std::string message, out, err, sent; // the last in bytes

    bool operator==(const Outcome &) const = default;
};

using Answers = std::vector<std::pair<int, int>>; // return value and errno of each command, the last for good

using Call = std::function<int32_t(char **)>; // of the engine, with a message slot

struct Script {
    Script() { in_force = this; }
    ~Script()
    {
        in_force = nullptr;
        for (FILE *stream : host_names)
            fclose(stream);
    }

    // Makes a call as if it were the first, with a message that is pending, or without a slot.
    Outcome run(const Call &call, const std::string &pending = "", bool with_slot = true);
    Outcome run(const ov_request &request, const std::string &pending = "", bool with_slot = true)
    {
        return run([&](char **slot) { return ov_process_request(&request, slot); }, pending, with_slot);
    }

    uid_t uid = 0;
    gid_t gid = 0;
    std::map<std::string, unsigned> users = {{"root", 0}, {"alice", 1000}, {"bob", 1001}, {"1000", 77}};
    std::map<std::string, unsigned> groups = {{"root", 0}, {"staff", 100}, {"100", 5}};
    std::map<int, int> processes = {{1, 0}, {4242, 1000}, {4343, 1001}}; // pid to effective uid
    std::map<int, std::string> statuses; // what a process's status file says, or the errno when it is opened or read
    int no_entry = 0;                    // errno when the user or group database has no such entry
    const char *host_name = nullptr;     // set: inside a container
    int64_t now = 0;                     // 0: the real clock's
    int64_t later = 0;                   // what the clock says from its second reading on
    bool summer = false;                 // daylight saving time is in effect, says localtime, and no other call
    int open_error = 0;
    Answers answers = {{0, 0}};
    int kernel_error = 0; // left in the record
    std::function<int(unsigned long, zynov_iov &)> kernel = [this](unsigned long, zynov_iov &record) {
        const auto [result, error] = answers[std::min(sent.size(), answers.size()) - 1];
        record.kernel_error = kernel_error;
        errno = error != 0 ? error : errno;
        return result;
    };
    int descriptor = 100000;  // of the control file; not a number that the C library would hand out
    int failing_call = 0;     // the n-th scripted call fails
    int failure = EIO;        // with this errno
    bool no_messages = false; // strdup finds no memory

    static inline Script *in_force = nullptr;

    // What the engine did.
    std::vector<std::pair<unsigned long, zynov_iov>> sent;
    int opened = 0, closed = 0, calls = 0, clock_readings = 0;
    int error = 0;                  // errno when a call returned
    std::vector<FILE *> host_names; // streams that the engine leaves open
    std::set<int> owners;           // descriptors of the streams that popen gave
};
