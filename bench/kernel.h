#pragma once

#include <unistd.h>

#include <ctime>
#include <string>

#include "contract/zynov.h"

namespace bench
{

constexpr int control_file = 100;
inline const unsigned user = getuid() != 0 ? getuid() : 1; // may get a clock from the caller; 1 is daemon
inline const std::string user_text = std::to_string(user);
constexpr int clock_speed = 60;
constexpr char speed_text[] = "60 times faster";
constexpr time_t instant = 1924419600; // 2030-12-25 09:00 in UTC
constexpr char instant_text[] = "122509002030";

extern int table_size;    // slots that the listing finds
extern bool of_processes; // clocks of processes, not of users

} // namespace bench
