// The version of the library: of these headers here, and of the library that runs by
// LMImport::Version.
#pragma once

#define LMIMPORT_VERSION_MAJOR 1
#define LMIMPORT_VERSION_MINOR 2
#define LMIMPORT_VERSION_PATCH 4
#define LMIMPORT_VERSION "1.2.4"
/// 10204 for 1.2.4, to be compared by the preprocessor.
#define LMIMPORT_VERSION_NUMBER \
  (LMIMPORT_VERSION_MAJOR * 10000 + LMIMPORT_VERSION_MINOR * 100 + LMIMPORT_VERSION_PATCH)
