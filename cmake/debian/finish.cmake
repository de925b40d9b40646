# Run by cpack in the trees of the packages: what Debian wants of a package and a plain installation does not have.

foreach(component runtime dev tools)
  string(TOUPPER ${component} upper)
  set(share ${CPACK_TEMPORARY_DIRECTORY}/${component}${CPACK_PACKAGING_INSTALL_PREFIX}/share)
  set(documents ${share}/doc/${CPACK_DEBIAN_${upper}_PACKAGE_NAME})
  file(COPY ${CPACK_ORVANE_DOCUMENTS} DESTINATION ${documents}
       FILE_PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
  file(GLOB pages ${share}/man/man*/*)
  execute_process(COMMAND gzip -9n ${pages} ${documents}/changelog.Debian COMMAND_ERROR_IS_FATAL ANY)
endforeach()
