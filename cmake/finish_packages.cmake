# cpack runs this in the trees of the packages, to add what a plain installation does not have.

set(family ${CPACK_GENERATOR})
if(family STREQUAL "DEB")
  set(family DEBIAN)
endif()
# The folder of "ovuser save /etc/orvane/clocks". No package owns the file.
set(configuration ${CPACK_TEMPORARY_DIRECTORY}/tools/etc/orvane)
file(MAKE_DIRECTORY ${configuration})
file(CHMOD ${CPACK_TEMPORARY_DIRECTORY}/tools/etc ${configuration}
     PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
foreach(component ${CPACK_COMPONENTS_ALL})
  string(TOUPPER ${component} upper)
  set(tree ${CPACK_TEMPORARY_DIRECTORY}/${component}${CPACK_PACKAGING_INSTALL_PREFIX})
  set(documents ${tree}/share/doc/${CPACK_${family}_${upper}_PACKAGE_NAME})
  file(COPY ${CPACK_ORVANE_${family}_DOCUMENTS} DESTINATION ${documents}
       FILE_PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
  file(GLOB texts ${tree}/share/man/man*/* ${documents}/changelog.Debian)
  if(texts)
    execute_process(COMMAND gzip -9n ${texts} COMMAND_ERROR_IS_FATAL ANY)
  endif()
endforeach()
