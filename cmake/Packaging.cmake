# Debian packages, one for each component of the installation, made by cpack -G DEB. Only a build that is configured
# for /usr, as scripts/package does it, has the library where its architecture's are.

set(runtime_package libov-helper${PROJECT_VERSION_MAJOR})
set(debian_version ${library_version}-1)
configure_file(cmake/debian/changelog.Debian.in debian/changelog.Debian @ONLY)
file(WRITE ${PROJECT_BINARY_DIR}/debian/shlibs
     "libov_helper ${PROJECT_VERSION_MAJOR} ${runtime_package} (>= ${library_version})\n")

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/debian/finish.cmake)
set(CPACK_ORVANE_DOCUMENTS ${PROJECT_SOURCE_DIR}/cmake/debian/copyright ${PROJECT_BINARY_DIR}/debian/changelog.Debian)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SOURCE orvane)
set(CPACK_DEBIAN_PACKAGE_VERSION ${debian_version})
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "Orvane maintainers <maintainers@orvane.example>")
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

set(in_common "Orvane gives chosen users, groups and processes of a host a clock of their
own: a date, a speed, a date that rewinds at midnight. Everybody else keeps
the real time.\n")

# Its programs have the engine inside, so that the tools need neither of the other two.
set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME orvane-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION admin)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SUGGESTS "bash-completion, man-db")
set(CPACK_COMPONENT_TOOLS_DESCRIPTION "virtual clocks for users, groups and processes
${in_common}
This package has ovuser, which sets and shows the clocks, and zynov-sim,
which plays the kernel module on machines without it.")

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME ${runtime_package})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_MULTIARCH same)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/cmake/debian/triggers
                                               ${PROJECT_BINARY_DIR}/debian/shlibs)
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION "Orvane administration engine - shared library
${in_common}
This package has the library that programs set and list such clocks with.")

set(CPACK_DEBIAN_DEV_PACKAGE_NAME libov-helper-dev)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEV_PACKAGE_MULTIARCH same)
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS "${runtime_package} (= ${debian_version})")
set(CPACK_DEBIAN_DEV_PACKAGE_SUGGESTS orvane-tools)
set(CPACK_COMPONENT_DEV_DESCRIPTION "Orvane administration engine - development files
${in_common}
This package has the header, the static library, the files by which
pkg-config and CMake find the library, and the manual page.")
include(CPack)
