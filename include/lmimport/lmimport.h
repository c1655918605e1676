// Everything a host needs.
#pragma once

#include <lmimport/FileSelector.h>
#include <lmimport/Findings.h>
#include <lmimport/LMIBlock.h>
#include <lmimport/LMIFile.h>
#include <lmimport/LMImport.h>
#include <lmimport/Text.h>
#include <lmimport/Types.h>
