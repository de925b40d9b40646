// Refuses to compile for machines that are not supported.
#pragma once

static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__,
              "Orvane runs on little-endian machines only: the kernel module's record is little-endian.");
static_assert(__SIZEOF_POINTER__ == 8 && __SIZEOF_LONG__ == 8,
              "Orvane runs on 64-bit machines only: clock values and decimal texts need 64 bits of time_t and long.");
