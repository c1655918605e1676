# Debian packages by CPack: the shared library, what programs are built with, and the command. The
# folders are those of Debian where CMAKE_INSTALL_PREFIX is /usr.
if(NOT BUILD_SHARED_LIBS)
  message(FATAL_ERROR "The packages hold a shared library: LMIMPORT_DEBIAN_PACKAGES needs BUILD_SHARED_LIBS")
endif()
if(NOT CMAKE_INSTALL_PREFIX STREQUAL /usr)
  message(FATAL_ERROR "Packages install to /usr: LMIMPORT_DEBIAN_PACKAGES needs CMAKE_INSTALL_PREFIX=/usr")
endif()

set(debian ${CMAKE_CURRENT_BINARY_DIR}/debian)
set(revision 0local)  # comes before 1, the first of packages that Debian itself makes
set(soname_package liblmimport${PROJECT_VERSION_MAJOR})
set(CPACK_GENERATOR DEB)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "LMImport developers <lmimport@example.org>")

# Each package has its own copy of these.
string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC)
file(MAKE_DIRECTORY ${debian})
execute_process(
  COMMAND awk -v version=${PROJECT_VERSION} -v revision=${revision} -v date=${date}
    -v maintainer=${CPACK_DEBIAN_PACKAGE_MAINTAINER}
    -f ${CMAKE_CURRENT_LIST_DIR}/debian/changelog.awk ${PROJECT_SOURCE_DIR}/CHANGELOG.md
  COMMAND gzip -9n
  OUTPUT_FILE ${debian}/changelog.Debian.gz
  COMMAND_ERROR_IS_FATAL ANY)
foreach(package IN ITEMS library:${soname_package} development:liblmimport-dev command:lmi)
  string(REPLACE ":" ";" package ${package})
  list(GET package 0 component)
  list(GET package 1 name)
  install(FILES ${debian}/changelog.Debian.gz ${CMAKE_CURRENT_LIST_DIR}/debian/copyright
    DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${name}
    COMPONENT ${component})
  string(TOUPPER ${component} component)
  set(CPACK_DEBIAN_${component}_PACKAGE_NAME ${name})
endforeach()

# What a program that is linked with the library depends on. CPack would have the library's own
# scripts call ldconfig, where Debian has a trigger, so it is not told of shared libraries at all.
file(WRITE ${debian}/shlibs
  "liblmimport ${PROJECT_VERSION_MAJOR} ${soname_package} (>= ${PROJECT_VERSION})\n")
file(WRITE ${debian}/triggers "activate-noawait ldconfig\n")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA ${debian}/shlibs ${debian}/triggers)
configure_file(${CMAKE_CURRENT_LIST_DIR}/DebianDependencies.cmake.in
  ${debian}/DebianDependencies.cmake @ONLY)
set(CPACK_PROJECT_CONFIG_FILE ${debian}/DebianDependencies.cmake)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
  "${soname_package} (= ${PROJECT_VERSION}-${revision})")
if(ZLIB_FOUND)
  string(APPEND CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS ", zlib1g-dev")
endif()

set(CPACK_PACKAGE_NAME lmimport)
set(CPACK_DEBIAN_PACKAGE_SOURCE lmimport)
set(CPACK_DEBIAN_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_DEBIAN_PACKAGE_RELEASE ${revision})
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_COMMAND_PACKAGE_SECTION science)

set(what "LMImport opens the recording files of data-acquisition systems, among them
EDF and BDF, WinDaq, ABF, ACQ, MATLAB and wave files, and shows them in one
model: blocks, channels, comments, and samples as counts or calibrated values.")
set(CPACK_DEBIAN_LIBRARY_DESCRIPTION "recordings of data-acquisition systems - shared library
${what}
.
This package has the shared library.")
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION "recordings of data-acquisition systems - development files
${what}
.
This package has what programs are built with: the headers, the package for
CMake and the description for pkg-config.")
set(CPACK_DEBIAN_COMMAND_DESCRIPTION "show and convert recordings of data-acquisition systems
The command lmi shows what recordings hold, lists what is wrong with them or
misleading, and writes their samples. It reads the formats of LMImport, among
them EDF and BDF, WinDaq, ABF, ACQ, MATLAB and wave files.")

set(CPACK_COMPONENTS_ALL library development command)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_STRIP_FILES ON)
include(CPack)
