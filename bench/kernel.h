#pragma once

#include <ctime>

#include "kernel/zynov.h"

namespace bench
{

constexpr int control_file = 100;
constexpr int user = 1; // daemon on every Debian
constexpr char user_text[] = "1";
constexpr int clock_speed = 60;
constexpr char speed_text[] = "60 times faster";
constexpr time_t instant = 1924419600; // 2030-12-25 09:00 in UTC
constexpr char instant_text[] = "122509002030";

extern int table_size; // slots that the listing finds

} // namespace bench
