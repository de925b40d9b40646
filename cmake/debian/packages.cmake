# Debian's fields. The tools contain the engine and need no other package.

set(runtime_package libov-helper${PROJECT_VERSION_MAJOR})
set(debian_version ${library_version}-1)
configure_file(cmake/debian/changelog.Debian.in debian/changelog.Debian @ONLY)
file(WRITE ${PROJECT_BINARY_DIR}/debian/shlibs
     "libov_helper ${PROJECT_VERSION_MAJOR} ${runtime_package} (>= ${library_version})\n")
set(CPACK_ORVANE_DEBIAN_DOCUMENTS ${PROJECT_SOURCE_DIR}/cmake/debian/copyright
                               ${PROJECT_BINARY_DIR}/debian/changelog.Debian)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SOURCE orvane)
set(CPACK_DEBIAN_PACKAGE_VERSION ${debian_version})
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "Orvane maintainers <maintainers@orvane.example>")
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
if(CMAKE_CROSSCOMPILING)
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE ${ORVANE_DEBIAN_ARCHITECTURE})
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_FIND_ROOT_PATH}/lib) # Debian's cross packages of the C library
endif()

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME orvane-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION admin)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SUGGESTS "bash-completion, man-db")
set(CPACK_DEBIAN_TOOLS_DESCRIPTION "${tools_summary}\n${tools_description}")

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME ${runtime_package})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_MULTIARCH same)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/cmake/debian/triggers
                                               ${PROJECT_BINARY_DIR}/debian/shlibs)
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION "${runtime_summary}\n${runtime_description}")

set(CPACK_DEBIAN_DEV_PACKAGE_NAME libov-helper-dev)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEV_PACKAGE_MULTIARCH same)
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS "${runtime_package} (= ${debian_version})")
set(CPACK_DEBIAN_DEV_PACKAGE_SUGGESTS orvane-tools)
set(CPACK_DEBIAN_DEV_DESCRIPTION "${dev_summary}\n${dev_description}")

set(CPACK_DEBIAN_KERNEL_PACKAGE_NAME orvane-dkms)
set(CPACK_DEBIAN_KERNEL_PACKAGE_SECTION kernel)
set(CPACK_DEBIAN_KERNEL_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_KERNEL_PACKAGE_DEPENDS dkms)
set(CPACK_DEBIAN_KERNEL_PACKAGE_RECOMMENDS "linux-headers-amd64 | linux-headers-generic | linux-headers, orvane-tools")
foreach(script postinst prerm)
  configure_file(cmake/debian/${script}.in dkms/${script} @ONLY FILE_PERMISSIONS
                 OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
  list(APPEND CPACK_DEBIAN_KERNEL_PACKAGE_CONTROL_EXTRA ${PROJECT_BINARY_DIR}/dkms/${script})
endforeach()
set(CPACK_DEBIAN_KERNEL_DESCRIPTION "${kernel_summary}\n${kernel_description}")

set(CPACK_DEBIAN_PYTHON_PACKAGE_NAME python3-orvane)
set(CPACK_DEBIAN_PYTHON_PACKAGE_SECTION python)
set(CPACK_DEBIAN_PYTHON_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS "python3, ${runtime_package} (>= ${library_version})")
set(CPACK_DEBIAN_PYTHON_PACKAGE_SUGGESTS "orvane-tools, python3-pytest")
set(CPACK_DEBIAN_PYTHON_DESCRIPTION "${python_summary}\n${python_description}")

set(CPACK_DEBIAN_COCKPIT_PACKAGE_NAME cockpit-orvane)
set(CPACK_DEBIAN_COCKPIT_PACKAGE_SECTION admin)
set(CPACK_DEBIAN_COCKPIT_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_COCKPIT_PACKAGE_DEPENDS "orvane-tools (>= ${library_version}), cockpit-bridge")
set(CPACK_DEBIAN_COCKPIT_DESCRIPTION "${cockpit_summary}\n${cockpit_description}")
