// Scripts the C library for the engine: users, processes, files, the real clock and the kernel. Without a script in
// force, calls reach the real C library.
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

// The outcome of a call. It is good if the control file and the streams of popen are closed and the message is known.
struct Outcome {
    int result, calls;
    bool good;
    std::string message, out, err, sent; // sent: the bytes

    bool operator==(const Outcome &) const = default;
};

using Answers = std::vector<std::pair<int, int>>; // return value and errno of each command; the last one repeats

using Call = std::function<int32_t(char **)>; // of the engine, with a message slot

struct Script {
    Script() { in_force = this; }
    ~Script()
    {
        in_force = nullptr;
        for (FILE *stream : host_names)
            fclose(stream);
    }

    // Makes a call with a pending message, or without a slot. errno is 0 before.
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
    std::map<int, std::string> statuses;                                 // the text of a status file, or its errno
    int no_entry = 0;                                                    // the databases' errno for an unknown number
    const char *host_name = nullptr;                                     // set: inside a container
    int64_t now = 0;                                                     // 0: the real clock's
    int64_t later = 0;                                                   // the clock's second and later readings
    bool summer = false;                                                 // localtime alone sets tm_isdst
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
