# A command for any Linux of this processor: the C library and all others are linked into it, so only
# archives are looked for, and what has no archive is left out. docs/packages.md lists them.
set(BUILD_SHARED_LIBS OFF)
set(CMAKE_FIND_LIBRARY_SUFFIXES .a)
set(PKG_CONFIG_ARGN --static)
# Checks whether something links are made in the same way.
string(APPEND CMAKE_EXE_LINKER_FLAGS " -static")

# An archive doesn't say which others it needs, and must precede them. These come last on each line
# that links; what nothing needs of them is not taken.
set(needed_by_archives)
foreach(library IN ITEMS hdf5_serial_hl hdf5_serial sz aec z m)
  find_library(LMIMPORT_ARCHIVE_${library} ${library})
  mark_as_advanced(LMIMPORT_ARCHIVE_${library})
  if(LMIMPORT_ARCHIVE_${library})
    list(APPEND needed_by_archives ${LMIMPORT_ARCHIVE_${library}})
  endif()
endforeach()
list(JOIN needed_by_archives " " needed_by_archives)
set(CMAKE_CXX_STANDARD_LIBRARIES "${needed_by_archives}")
