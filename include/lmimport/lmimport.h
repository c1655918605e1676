// Everything a host needs.
#pragma once

#include <lmimport/ByteSource.h>
#include <lmimport/FileSelector.h>
#include <lmimport/Findings.h>
#include <lmimport/Import.h>
#include <lmimport/LMIBlock.h>
#include <lmimport/LMIFile.h>
#include <lmimport/Recording.h>
#include <lmimport/Text.h>
#include <lmimport/Types.h>
#include <lmimport/Version.h>
