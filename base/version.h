// The one place that says which version this is: the build reads it here, too.
#pragma once

#define OV_VERSION "12.10"
#define OV_RELEASE "6"
