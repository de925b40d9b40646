// The version; the build reads it here.
#pragma once

#define OV_VERSION "12.10"
#define OV_RELEASE "6"
