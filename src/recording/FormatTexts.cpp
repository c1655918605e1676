#include "recording/FormatTexts.h"

#include <algorithm>
#include <iterator>

namespace lmimport {
namespace {

constexpr std::string_view AsPublished = "The same.";

constexpr FormatTexts Texts[] = {
    {.Id = "chart",
     .Versions = "3.2 and later",
     .Limits = "1 to 32 channels; 16-bit samples",
     .Sidecars = {},
     .Published = "Blocks, channels, notes and comments. A file cut off after whole blocks keeps "
                  "them.",
     .Written = AsPublished},
    {.Id = "abin",
     .Versions = "2 and 3",
     .Limits = "1 to 32 channels, in one block",
     .Sidecars = {},
     .Published = "Samples of every kind.",
     .Written = AsPublished},
    {.Id = "cfwb",
     .Versions = "all",
     .Limits = "no time column; as written 1 to 32 channels",
     .Sidecars = {},
     .Published = "16-bit, Single and Double samples, as many as the header states.",
     .Written = "16-bit samples alone, to the end of the file. The start is in whole seconds."},
    {.Id = "wave",
     .Versions =
         "PCM of 8 to 32 bits, floating point, A-law and mu-law, extensible too; RIFF, RIFX, "
         "RF64 and BW64",
     .Limits = "no compressed samples; as written 1 to 32 channels",
     .Sidecars = "NAME_wavheader.txt, which calibrates the channels",
     .Published = "Samples of all these kinds, with a full scale of 1.",
     .Written =
         "RIFF alone, with PCM of 9 to 16 bits as counts / 6400. Any chunk but \"fact\" before "
         "the data refuses the file."},
    {.Id = "adclab",
     .Versions = "device files and plain files",
     .Limits = "1 to 32 channels",
     .Sidecars = {},
     .Published = "Samples of every kind.",
     .Written = AsPublished},
    {.Id = "abf",
     .Versions = "1.x; not generation 2",
     .Limits = "1 to 16 channels",
     .Sidecars = {},
     .Published =
         "16-bit and floating-point samples with all gains, tags and comments. Each sweep is "
         "a block.",
     .Written = "16-bit samples alone, sweeps in a row, without the gain that an amplifier told."},
    {.Id = "matlab5",
     .Versions = "5, compressed or not, in either byte order; not 7.3",
     .Limits = "no 64-bit integers; matrices of two dimensions; as written 1 to 32 channels",
     .Sidecars = {},
     .Published = "A block for each numeric variable. Those named x_Data are shown alone, with the "
                  "rates of x_SamplingRate; others have the default rate.",
     .Written =
         "Little-endian variables that are not compressed. Whole numbers of 16 bits are counts "
         "/ 3276.8, others are left out."},
    {.Id = "peak",
     .Versions = "both layouts",
     .Limits = "1 to 16 sound channels, 15 in the layout with an overview of all",
     .Sidecars = {},
     .Published = "Minima and maxima of a sound, as channels.",
     .Written = AsPublished},
    {.Id = "windaq",
     .Versions = "14 and 16 bits",
     .Limits = "1 to 255 channels, as written 31; no packed files",
     .Sidecars = {},
     .Published = "Titles, units, calibration, and event markers with their comments.",
     .Written = ".wdq alone, with the rate over all channels and the low bits of 14-bit samples. "
                "Packed samples are shown as they are."},
    {.Id = "edf",
     .Versions = "EDF, EDF+C and EDF+D",
     .Limits = "as written the first 32 channels",
     .Sidecars = {},
     .Published =
         "Signals at their own rates, all annotations with their durations, and the gaps of "
         "EDF+D.",
     .Written =
         "All signals at the largest rate, with gaps joined, the annotations of one signal, and "
         "microvolts turned into mV."},
    {.Id = "bdf",
     .Versions = "BDF, BDF+C and BDF+D",
     .Limits = "24-bit samples",
     .Sidecars = {},
     .Published = "As EDF, with samples of 24 bits.",
     .Written = "Not read."},
    {.Id = "acq",
     .Versions = "30 to 45 and 61 to 132, in either byte order, compressed or not",
     .Limits = "as written versions 30 to 45, and the first 32 channels",
     .Sidecars = {},
     .Published = "Channels at their own rates, and markers.",
     .Written =
         "Little-endian files alone, with rates by the number of samples, brought to the base "
         "rate."},
    {.Id = "matlab4",
     .Versions = "4, in either byte order",
     .Limits = "no text and no sparse matrices; as written 1 to 32 channels",
     .Sidecars = {},
     .Published =
         "A block for each numeric variable; a complex one is two blocks. Names and rates are "
         "as in level 5.",
     .Written =
         "Little-endian files alone. Whole numbers of 16 bits are counts / 3276.8, others are "
         "left out."},
    {.Id = "ar",
     .Versions = "AR, RG and UB recorders",
     .Limits = "1 to 16 inputs; 16-bit samples",
     .Sidecars = {},
     .Published = "Inputs by their sensors, with title and unit.",
     .Written = AsPublished},
    {.Id = "raw",
     .Versions = "any file that nothing else claims",
     .Limits = "1 to 32 channels; two frames or more",
     .Sidecars =
         "NAME.par or NAME.rvp for .dat, NAME_binheader.txt for .bin; the first that is there",
     .Published =
         "16-bit words, described by a file beside them, else by the defaults of the host. "
         "Files of known other formats are refused.",
     .Written = "The same, files of other formats among them."},
};

}  // namespace

const FormatTexts& TextsOfFormat(std::string_view id) {
  return *std::ranges::find(Texts, id, &FormatTexts::Id);
}

}  // namespace lmimport
