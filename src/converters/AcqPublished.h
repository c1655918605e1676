// ACQ recordings of the generations 3 to 5 by the published notes on the format: each channel at its own
// rate.
#pragma once

#include "model/Opening.h"

namespace lmimport {

/// Fills the store: a block for each rate, length and kind of sample, the fastest first. Where all
/// channels are alike the samples are read where they lie, else from a temporary file.
void ReadPublishedAcq(Opening& opening);

}  // namespace lmimport
