# One package for each component: cpack -G DEB and cpack -G RPM. The build has to be configured for /usr, with the
# distribution's library folder, as scripts/package does.

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/finish_packages.cmake)

set(tools_summary "virtual clocks for users, groups and processes")
set(runtime_summary "Orvane administration engine - shared library")
set(dev_summary "Orvane administration engine - development files")

set(in_common "Orvane gives chosen users, groups and processes of a host a clock of their
own: a date, a speed, a date that rewinds at midnight. Everybody else keeps
the real time.\n")
set(tools_description "${in_common}
This package has ovuser, which sets and shows the clocks, and zynov-sim,
which plays the kernel module on machines without it.")
set(runtime_description "${in_common}
This package has the library that programs set and list such clocks with.")
set(dev_description "${in_common}
This package has the header, the static library, the files by which
pkg-config and CMake find the library, and the manual page.")

set(kernel_summary "virtual clocks in the kernel - DKMS source")
set(kernel_description "${in_common}
This package has the source of the kernel module zynov, which keeps the
clocks. DKMS builds it for Linux 6.1 to 6.12 on x86-64 and 64-bit ARM;
each boot loads it.")

set(python_summary "virtual clocks for Python programs and their tests")
set(python_description "${in_common}
This package has the Python package orvane, and its plugin for pytest.")

set(cockpit_summary "virtual clocks in the web console")
set(cockpit_description "${in_common}
This package has a page for the web console Cockpit, which shows, sets and
plots the clocks of a host.")

include(cmake/debian/packages.cmake)
include(cmake/rpm/packages.cmake)
include(CPack)
