// Identities and the banner.
#include <cstring>

#include "tests/engine.h"

TEST_F(Engine, ResolvesIdentities)
{
    script.users[std::string(5000, 'n')] = 1234;
    const std::tuple<const char *, int, int64_t> cases[] = {
        // -1: refused
        {"root", 1, 0},     {"0", 1, 0},      {"1000", 1, 77},  {"", 1, 0},       {" 01000", 1, 1000},
        {"+1000", 1, 1000}, {"-1", 1, -1},    {"1000x", 1, -1}, {"1000 ", 1, -1}, {"31", 1, -1},
        {"staff", 2, 100},  {"100", 2, 5},    {"alice", 2, -1}, {"1", 3, 1},      {"4294967297", 3, 1},
        {"-5", 3, -1},      {"", 3, -1},      {"31", 3, -1},    {"root", 3, -1},  {"root", 0, -1},
        {"root", 4, -1},    {nullptr, 1, -1},
    };
    for (const auto &[text, kind, expected] : cases) {
        uint32_t number = 0xdead;
        EXPECT_EQ(parse_uid(text, kind, &number), expected < 0 ? -1 : 0) << text;
        EXPECT_EQ(number, expected < 0 ? 0xdead : expected) << text;
    }
    EXPECT_STREQ(get_username(1, 1000), "alice");
    EXPECT_STREQ(get_username(2, 31), "UNKNOWN");
    EXPECT_STREQ(get_username(7, 0xffffffff), "-1");
    EXPECT_EQ(strlen(get_username(1, 1234)), 1023u);
    EXPECT_STREQ(id_string(0), "unknown id");
    EXPECT_STREQ(id_string(4), "unknown id");
    EXPECT_EQ(ov_get_num_from_cmd("echo ' 42 7'"), 42);
    EXPECT_EQ(ov_get_num_from_cmd("echo none; exit 3"), -2);
    EXPECT_EQ(ov_get_num_from_cmd(nullptr), -1);
    EXPECT_EQ(zynov_reset_vc(), 0);
}

TEST_F(Engine, PrintsTheBanner)
{
    const std::pair<const char *, std::string> names[] = {
        {"/none/ovuser", "ovuser"}, {"/none/", ""}, {nullptr, ""}, {"/proc/1/status", "status"}}; // the last of 1970
    for (const auto &[path, name] : names) {
        testing::internal::CaptureStdout();
        const size_t length = static_cast<size_t>(print_header(path));
        const std::string line = "Orvane " + name + " utility version 12.10R6 for Linux Kernel 2.6 or up,\n";
        EXPECT_EQ(testing::internal::GetCapturedStdout(),
                  "Copyright (c) 1997-2012 Orvane. All rights reserved.\n" + line);
        EXPECT_EQ(length, line.size());
    }
}
