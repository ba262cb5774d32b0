# cpack, in a build folder that has been built: the Debian packages, one for each component.
set(KVT_MAINTAINER "ServerDiscovery maintainers <maintainers@serverdiscovery.example>"
    CACHE STRING "Who answers for the packages: name and address")
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME serverdiscovery)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")  # each package has its own
set(CPACK_PACKAGE_VENDOR "ServerDiscovery maintainers")
set(CPACK_PACKAGE_DIRECTORY "${CMAKE_BINARY_DIR}/packages")
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL server discovery control framework framework_dev slp slp_dev)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ
                                                WORLD_EXECUTE)
set(CPACK_PRE_BUILD_SCRIPTS "${PROJECT_SOURCE_DIR}/cmake/PackageTree.cmake")
set(CPACK_KVT_DEBIAN_DIR "${PROJECT_SOURCE_DIR}/packaging/debian")
set(CPACK_KVT_GENERATED_DIR "${CMAKE_BINARY_DIR}/packaging")

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "${KVT_MAINTAINER}")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEBIAN_PACKAGE_SECTION net)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS "${CMAKE_LIBRARY_OUTPUT_DIRECTORY}")

# kvt_package(<component> NAME <name> SUMMARY <line> DESCRIPTION <text> [SECTION <section>] [DEPENDS <list>]
#             [CONFLICTS <list>] [CONTROL <files>])
# What a program links to is found by dpkg-shlibdeps; DEPENDS is what comes from this tree, and what headers need.
macro(kvt_package component)
  cmake_parse_arguments(PKG "" "NAME;SUMMARY;DESCRIPTION;SECTION;DEPENDS;RECOMMENDS;CONFLICTS" "CONTROL" ${ARGN})
  string(TOUPPER ${component} upper)
  set(CPACK_DEBIAN_${upper}_PACKAGE_NAME ${PKG_NAME})
  set(CPACK_DEBIAN_${upper}_DESCRIPTION "${PKG_SUMMARY}\n${PKG_DESCRIPTION}")
  foreach(field SECTION DEPENDS RECOMMENDS CONFLICTS)
    if(PKG_${field})
      set(CPACK_DEBIAN_${upper}_PACKAGE_${field} "${PKG_${field}}")
    endif()
  endforeach()
  if(PKG_CONTROL)
    set(CPACK_DEBIAN_${upper}_PACKAGE_CONTROL_EXTRA "${PKG_CONTROL}")
  endif()
endmacro()

set(exact "= ${PROJECT_VERSION}")
set(debian "${PROJECT_SOURCE_DIR}/packaging/debian")
kvt_package(
  server
  NAME kvt-server
  SUMMARY "web server for the management of storage"
  DESCRIPTION "The host of plug-ins, with HTTPS, accounts, a web page and metrics, as a\nservice of systemd."
  DEPENDS "libkvtframework0 (${exact}), init-system-helpers (>= 1.52)"
  RECOMMENDS "kvt-server-discovery (${exact}), kvtctl (${exact})"
  CONTROL "${debian}/postinst;${debian}/prerm;${debian}/postrm;${debian}/conffiles")
kvt_package(
  discovery
  NAME kvt-server-discovery
  SUMMARY "plug-in of kvt-server that finds other servers"
  DESCRIPTION "Finds the management servers of the network by SLP and by what they\nannounce, and makes this one be found."
  DEPENDS "kvt-server (${exact}), libkvtframework0 (${exact})")
kvt_package(
  control
  NAME kvtctl
  SUMMARY "command line of kvt-server"
  DESCRIPTION "Lists, searches, adds and removes servers, finds services by SLP, and looks\nafter accounts."
  SECTION utils)
kvt_package(
  framework
  NAME libkvtframework0
  SUMMARY "contract between kvt-server and its plug-ins"
  DESCRIPTION "The library that the server and its plug-ins share."
  SECTION libs
  CONTROL "${debian}/library/triggers;${CMAKE_BINARY_DIR}/packaging/libkvtframework0/shlibs")
kvt_package(
  framework_dev
  NAME kvt-server-dev
  SUMMARY "headers for plug-ins of kvt-server"
  DESCRIPTION "What plug-ins of kvt-server are built with, for CMake and pkg-config."
  SECTION libdevel
  DEPENDS "libkvtframework0 (${exact}), libboost1.81-dev")
kvt_package(
  slp
  NAME libkvtslp1
  SUMMARY "Service Location Protocol behind the C API of RFC 2614"
  DESCRIPTION "Finds and registers services. Needs no daemon: the service agent is inside."
  SECTION libs
  CONFLICTS "libslp1"
  CONTROL "${debian}/library/triggers;${CMAKE_BINARY_DIR}/packaging/libkvtslp1/shlibs")
kvt_package(
  slp_dev
  NAME libkvtslp-dev
  SUMMARY "header and static library of libkvtslp"
  DESCRIPTION "What programs that use the C API of RFC 2614 are built with, for pkg-config\nand CMake."
  SECTION libdevel
  DEPENDS "libkvtslp1 (${exact})"
  CONFLICTS "libslp-dev")

# For packages of others that link to these.
file(WRITE "${CMAKE_BINARY_DIR}/packaging/libkvtframework0/shlibs" "libkvtframework 0 libkvtframework0 (${exact})\n")
file(WRITE "${CMAKE_BINARY_DIR}/packaging/libkvtslp1/shlibs" "libslp 1 libkvtslp1 (>= ${PROJECT_VERSION})\n")
configure_file("${debian}/changelog.in" "${CMAKE_BINARY_DIR}/packaging/changelog" @ONLY)

include(CPack)
