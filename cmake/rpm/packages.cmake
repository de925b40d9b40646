# RPM's fields, with the names that are usual there.

set(rpm_runtime_package libov_helper${PROJECT_VERSION_MAJOR})
set(rpm_dev_package libov_helper-devel)
set(CPACK_ORVANE_RPM_DOCUMENTS ${PROJECT_SOURCE_DIR}/CHANGELOG.md ${PROJECT_SOURCE_DIR}/LICENSE)

set(CPACK_RPM_COMPONENT_INSTALL ON)
set(CPACK_RPM_FILE_NAME RPM-DEFAULT)
set(CPACK_RPM_PACKAGE_VERSION ${library_version})
set(CPACK_RPM_PACKAGE_RELEASE 1)
set(CPACK_RPM_PACKAGE_LICENSE "LicenseRef-Orvane")
set(CPACK_RPM_PACKAGE_VENDOR Orvane)
set(CPACK_RPM_PACKAGE_AUTOREQ ON)
set(CPACK_RPM_PACKAGE_AUTOPROV ON)
set(CPACK_RPM_PACKAGE_RELOCATABLE OFF)
# Folders that belong to other packages.
set(share ${CPACK_PACKAGING_INSTALL_PREFIX}/share)
set(lib ${CPACK_PACKAGING_INSTALL_PREFIX}/${CMAKE_INSTALL_LIBDIR})
set(CPACK_RPM_EXCLUDE_FROM_AUTO_FILELIST_ADDITION
    ${CPACK_PACKAGING_INSTALL_PREFIX}/sbin ${share}/man ${share}/man/man1 ${share}/man/man3 ${share}/man/man4
    ${share}/man/man8 ${share}/cockpit ${share}/metainfo ${share}/bash-completion ${share}/bash-completion/completions
    ${lib}/cmake ${lib}/pkgconfig
    ${CPACK_PACKAGING_INSTALL_PREFIX}/lib/systemd ${CPACK_PACKAGING_INSTALL_PREFIX}/lib/systemd/system
    ${CPACK_PACKAGING_INSTALL_PREFIX}/lib/modules-load.d ${CPACK_PACKAGING_INSTALL_PREFIX}/src)
# For reproducible packages.
set(CPACK_RPM_SPEC_MORE_DEFINE "%global _buildhost orvane
%global use_source_date_epoch_as_buildtime 1
%global clamp_mtime_to_source_date_epoch 1
%global _build_id_links none
%global packager Orvane maintainers <maintainers@orvane.example>
%global __provides_exclude_from ^${lib}/orvane/")

set(CPACK_RPM_TOOLS_PACKAGE_NAME orvane-tools)
set(CPACK_RPM_TOOLS_PACKAGE_GROUP System/Management)
set(CPACK_RPM_TOOLS_PACKAGE_SUMMARY ${tools_summary})
set(CPACK_RPM_TOOLS_PACKAGE_DESCRIPTION ${tools_description})

set(CPACK_RPM_RUNTIME_PACKAGE_NAME ${rpm_runtime_package})
set(CPACK_RPM_RUNTIME_PACKAGE_GROUP System/Libraries)
set(CPACK_RPM_RUNTIME_PACKAGE_SUMMARY ${runtime_summary})
set(CPACK_RPM_RUNTIME_PACKAGE_DESCRIPTION ${runtime_description})
set(CPACK_RPM_RUNTIME_POST_INSTALL_SCRIPT_FILE ${PROJECT_SOURCE_DIR}/cmake/rpm/ldconfig)
set(CPACK_RPM_RUNTIME_POST_UNINSTALL_SCRIPT_FILE ${PROJECT_SOURCE_DIR}/cmake/rpm/ldconfig)

set(CPACK_RPM_DEV_PACKAGE_NAME ${rpm_dev_package})
set(CPACK_RPM_DEV_PACKAGE_GROUP Development/Libraries/C)
set(CPACK_RPM_DEV_PACKAGE_SUMMARY ${dev_summary})
set(CPACK_RPM_DEV_PACKAGE_DESCRIPTION ${dev_description})
set(CPACK_RPM_DEV_PACKAGE_REQUIRES "${rpm_runtime_package} = ${library_version}-1")

set(CPACK_RPM_KERNEL_PACKAGE_NAME orvane-dkms)
set(CPACK_RPM_KERNEL_PACKAGE_ARCHITECTURE noarch)
set(CPACK_RPM_KERNEL_PACKAGE_GROUP System/Kernel)
set(CPACK_RPM_KERNEL_PACKAGE_SUMMARY ${kernel_summary})
set(CPACK_RPM_KERNEL_PACKAGE_DESCRIPTION ${kernel_description})
set(CPACK_RPM_KERNEL_PACKAGE_REQUIRES dkms)
foreach(script posttrans preun)
  configure_file(cmake/rpm/${script}.in dkms/${script} @ONLY)
endforeach()
set(CPACK_RPM_KERNEL_POST_TRANS_SCRIPT_FILE ${PROJECT_BINARY_DIR}/dkms/posttrans)
set(CPACK_RPM_KERNEL_PRE_UNINSTALL_SCRIPT_FILE ${PROJECT_BINARY_DIR}/dkms/preun)

set(CPACK_RPM_COCKPIT_PACKAGE_NAME cockpit-orvane)
set(CPACK_RPM_COCKPIT_PACKAGE_ARCHITECTURE noarch)
set(CPACK_RPM_COCKPIT_PACKAGE_GROUP System/Management)
set(CPACK_RPM_COCKPIT_PACKAGE_SUMMARY ${cockpit_summary})
set(CPACK_RPM_COCKPIT_PACKAGE_DESCRIPTION ${cockpit_description})
set(CPACK_RPM_COCKPIT_PACKAGE_REQUIRES "orvane-tools >= ${library_version}, cockpit-bridge")
