# Installs to Debian's folders, in components that are also the packages.

# Whatever the umask, others cannot write to folders.
set(CMAKE_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

set(config_folder ${CMAKE_INSTALL_LIBDIR}/cmake/ov_helper)
set(library_version ${PROJECT_VERSION}.${ORVANE_RELEASE})

# Other projects link to ov_helper::ov_helper or ov_helper::ov_helper_static.
set_target_properties(ov_helper_shared PROPERTIES EXPORT_NAME ov_helper)
set_target_properties(ov_helper PROPERTIES EXPORT_NAME ov_helper_static)
install(TARGETS ov_helper_shared EXPORT ov_helper
        LIBRARY COMPONENT runtime NAMELINK_COMPONENT dev
        INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(TARGETS ov_helper EXPORT ov_helper
        ARCHIVE COMPONENT dev
        INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(FILES include/ov_helper.h TYPE INCLUDE COMPONENT dev)
install(FILES man/ov_helper.3 DESTINATION ${CMAKE_INSTALL_MANDIR}/man3 COMPONENT dev)

include(CMakePackageConfigHelpers)
write_basic_package_version_file(ov_helperConfigVersion.cmake VERSION ${library_version}
                                 COMPATIBILITY SameMajorVersion)
install(EXPORT ov_helper NAMESPACE ov_helper:: FILE ov_helperConfig.cmake DESTINATION ${config_folder} COMPONENT dev)
install(FILES ${PROJECT_BINARY_DIR}/ov_helperConfigVersion.cmake DESTINATION ${config_folder} COMPONENT dev)

# Written on installation, because --prefix is known only then.
foreach(folder INCLUDEDIR LIBDIR) # an absolute one takes the place of the prefix
  set(pc_${folder} "\${prefix}")
  cmake_path(APPEND pc_${folder} ${CMAKE_INSTALL_${folder}})
endforeach()
install(CODE "
  get_filename_component(prefix \"\${CMAKE_INSTALL_PREFIX}\" ABSOLUTE)
  set(includedir [[${pc_INCLUDEDIR}]])
  set(libdir [[${pc_LIBDIR}]])
  set(version ${library_version})
  configure_file([[${PROJECT_SOURCE_DIR}/cmake/ov_helper.pc.in]] [[${PROJECT_BINARY_DIR}/ov_helper.pc]] @ONLY)"
  COMPONENT dev)
install(FILES ${PROJECT_BINARY_DIR}/ov_helper.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT dev)

install(TARGETS ovuser RUNTIME DESTINATION ${CMAKE_INSTALL_SBINDIR} COMPONENT tools)
install(TARGETS zynov-sim RUNTIME COMPONENT tools)
install(TARGETS zynov_sim_preload LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}/orvane COMPONENT tools)
foreach(page zynov-sim.1 zynov.4 ovuser.8)
  string(REGEX MATCH "[0-9]$" section ${page})
  install(FILES man/${page} DESTINATION ${CMAKE_INSTALL_MANDIR}/man${section} COMPONENT tools)
endforeach()
install(FILES completion/ovuser completion/zynov-sim
        DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions COMPONENT tools)

# Written on installation, like ov_helper.pc. The superuser enables the unit.
cmake_path(SET ovuser_in_prefix ${CMAKE_INSTALL_SBINDIR})
cmake_path(APPEND ovuser_in_prefix ovuser)
install(CODE "
  get_filename_component(prefix \"\${CMAKE_INSTALL_PREFIX}\" ABSOLUTE)
  cmake_path(APPEND prefix [[${ovuser_in_prefix}]] OUTPUT_VARIABLE ovuser)
  configure_file([[${PROJECT_SOURCE_DIR}/systemd/orvane-clocks.service.in]]
                 [[${PROJECT_BINARY_DIR}/orvane-clocks.service]] @ONLY)"
  COMPONENT tools)
install(FILES ${PROJECT_BINARY_DIR}/orvane-clocks.service DESTINATION lib/systemd/system COMPONENT tools)

# The module's sources, only for the package, where dkms builds them.
set(module_sources src/zynov-${library_version})
configure_file(module/dkms.conf dkms/dkms.conf @ONLY)
install(DIRECTORY module/ DESTINATION ${module_sources} COMPONENT kernel EXCLUDE_FROM_ALL
        FILES_MATCHING PATTERN "*.[ch]" PATTERN Kbuild PATTERN tests EXCLUDE)
install(FILES base/version.h DESTINATION ${module_sources} COMPONENT kernel EXCLUDE_FROM_ALL)
install(FILES contract/clock.h contract/zynov.h DESTINATION ${module_sources}/contract COMPONENT kernel EXCLUDE_FROM_ALL)
install(FILES ${PROJECT_BINARY_DIR}/dkms/dkms.conf DESTINATION ${module_sources} COMPONENT kernel EXCLUDE_FROM_ALL)
install(FILES module/zynov.conf DESTINATION lib/modules-load.d COMPONENT kernel EXCLUDE_FROM_ALL)
