// Shared by the fuzz targets. Texts come from the front of an input, numbers from its end.
#pragma once

#include <fuzzer/FuzzedDataProvider.h>

#include <cassert>
#include <string>

#include "tests/naive_time.h"

inline std::string any_text(FuzzedDataProvider &input, size_t longest)
{
    return input.ConsumeRandomLengthString(longest).c_str();
}

inline void choose_zone(FuzzedDataProvider &input)
{
    static const std::string very_long = std::string(5000, 'Z') + "-3";
    set_zone(input.PickValueInArray({"UTC", "America/New_York", "Europe/Berlin", "Australia/Lord_Howe", ":::x",
                                     very_long.c_str(), "AAA0BBB-22,M3.5.0/0,M10.5.0/0", "UTC10"}));
}
