# The Debian packages, one for each component; scripts/package builds them. Included last.
set(packages
  # component  package                what it is
  "tool|saverestore|save and restore the configuration of a server|The command saverestore captures the setup of a server (BIOS settings, boot order, BMC) into a text file that people read and edit, and writes it back. This package has the command, its library, and simulated servers."
  "ipmi|saverestore-ipmi|IPMI back end of saverestore|Targets ipmi:HOST, management controllers by IPMI 2.0, and the BMC of the machine itself."
  "redfish|saverestore-redfish|Redfish back end of saverestore|Targets redfish:HOST, the BIOS of a server over the Redfish service of its BMC."
  "local|saverestore-local|back end of saverestore for the machine itself|The target local: the firmware attributes and UEFI variables of the machine that the command runs on."
  "dev|libsaverestore-dev|library of saverestore, for development|Headers, CMake files and static libraries for programs that save and restore servers, and for back ends."
  "collection|ansible-collection-saverestore|Ansible collection for the firmware settings of servers|The collection saverestore.firmware keeps the BIOS and BMC settings of servers as files say, by the command saverestore.")

set(CPACK_GENERATOR DEB)
set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_OUTPUT_FILE_PREFIX ${PROJECT_BINARY_DIR}/packages)
set(CPACK_STRIP_FILES ON)
set(SAVERESTORE_MAINTAINER "saverestore maintainers <maintainers@example.org>" CACHE STRING
  "Who answers for the packages")
set(CPACK_PACKAGE_CONTACT "${SAVERESTORE_MAINTAINER}")
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# The library is in a package that is just being made.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR})
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

find_program(GZIP gzip REQUIRED)
set(CPACK_COMPONENTS_ALL)
foreach(row IN LISTS packages)
  string(REPLACE "|" ";" row "${row}")
  list(GET row 0 component)
  list(GET row 1 package)
  list(GET row 2 summary)
  list(GET row 3 text)
  string(REGEX REPLACE "(.{1,74})( |$)" "\\1\n" text "${text}")  # lines as packages have them
  string(STRIP "${text}" text)
  string(TOUPPER ${component} upper)
  list(APPEND CPACK_COMPONENTS_ALL ${component})
  set(CPACK_DEBIAN_${upper}_PACKAGE_NAME ${package})
  set(CPACK_DEBIAN_${upper}_PACKAGE_SECTION admin)
  set(CPACK_COMPONENT_${upper}_DESCRIPTION "${summary}\n${text}")
  if(NOT component MATCHES "tool|collection")
    set(CPACK_DEBIAN_${upper}_PACKAGE_DEPENDS "saverestore (= ${PROJECT_VERSION})")
  endif()
  # What every package has to say of itself.
  set(folder ${CMAKE_INSTALL_DATADIR}/doc/${package})
  set(log ${PROJECT_BINARY_DIR}/packaging/${package}/changelog)
  configure_file(packaging/changelog.in ${log} @ONLY)
  execute_process(COMMAND ${GZIP} -9nf ${log} COMMAND_ERROR_IS_FATAL ANY)
  install(FILES ${log}.gz DESTINATION ${folder} COMPONENT ${component})
  install(FILES packaging/copyright DESTINATION ${folder} COMPONENT ${component})
endforeach()
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/packaging/compress.cmake)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_COLLECTION_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_COLLECTION_PACKAGE_DEPENDS "ansible-core | ansible")
set(CPACK_DEBIAN_COLLECTION_PACKAGE_RECOMMENDS "saverestore (>= ${PROJECT_VERSION})")
# The tool loads libsystemd on need, to tell the journal; without it, it tells syslog.
set(CPACK_DEBIAN_TOOL_PACKAGE_RECOMMENDS "libsystemd0, saverestore-ipmi, saverestore-redfish, saverestore-local")
set(CPACK_DEBIAN_LOCAL_PACKAGE_RECOMMENDS "saverestore-ipmi")  # the machine's own BMC
set(CPACK_DEBIAN_DEV_PACKAGE_SUGGESTS "nlohmann-json3-dev, libcurl4-openssl-dev, libefiboot-dev, libfreeipmi-dev")
# Who links the library needs this very version.
file(WRITE ${PROJECT_BINARY_DIR}/packaging/shlibs
  "libsaverestore ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR} saverestore (= ${PROJECT_VERSION})\n")
set(CPACK_DEBIAN_TOOL_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/packaging/conffiles
  ${PROJECT_SOURCE_DIR}/packaging/postrm ${PROJECT_SOURCE_DIR}/packaging/triggers
  ${PROJECT_BINARY_DIR}/packaging/shlibs)

install(FILES README.md SECURITY.md CHANGELOG.md docs/saverestore.profile.json
  DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/saverestore COMPONENT tool)
# Outside the prefix: in the package alone, which installs by component.
install(FILES packaging/targets.ini DESTINATION /etc/saverestore COMPONENT tool EXCLUDE_FROM_ALL)
install(DIRECTORY DESTINATION /var/lib/saverestore COMPONENT tool EXCLUDE_FROM_ALL
  DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE)
install(DIRECTORY ansible/
  DESTINATION ${CMAKE_INSTALL_DATADIR}/ansible/collections/ansible_collections/saverestore/firmware
  COMPONENT collection EXCLUDE_FROM_ALL PATTERN tests EXCLUDE)
include(CPack)
