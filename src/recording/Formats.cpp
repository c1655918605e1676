#include "recording/Formats.h"

#include <algorithm>

#include "converters/Converters.h"
#include "readers/Readers.h"

namespace lmimport {
namespace {

using namespace std::string_view_literals;

constexpr std::array<std::string_view, 3> AbfMarks = {"ABF ", "FTCX", "CLPX"};
constexpr std::array<std::string_view, 3> PeakMarks = {"SFPK", "\xf1\x06\0\0"sv};
constexpr std::array<std::string_view, 3> WideWaveMarks = {"RIFX", "RF64", "BW64"};
constexpr std::string_view EdfName = "European Data Format";
constexpr std::string_view BdfName = "BioSemi Data Format";

// Four first bytes decide before the name does, and the name before two.
constexpr Format Read[] = {
    {"chart", "Lumetra Chart", 1, "Lumetra Chart", "*.lmc", {"LMC\0"sv}, {}, ReadChartFile},
    {"abin", "ABIN", 2, "Binary Files", "*.bin", {"ABIN"}, {}, ReadAbinFile},
    {"cfwb", "CFWB", 2, {}, {}, {"CFWB"}, {}, ReadCfwbFile},
    {"wave", "RIFF wave", 4, "Waveform Audio", "*.wav", {"RIFF"}, {}, ReadWaveFile},
    {"wave", "RIFF wave", 4, {}, {}, WideWaveMarks, {}, ReadWaveFile, false, true},
    {"adclab", "ADCLab", 5, "ADCLab Files", "*.alf", {"ADCL"}, {}, ReadAdcLabFile},
    {"abf", "Axon ABF 1.x", 7, "Axon Binary Files", "*.abf", AbfMarks, {}, ReadAbfFile},
    {"matlab5", "MATLAB level 5", 10, "MATLAB Data Files", "*.mat", {"MATL"}, {}, ReadMatlab5File},
    {"peak", "Peak cache", 11, "Peak Files", "*.pk;*.sfk", PeakMarks, {}, ReadPeakFile},
    {"windaq", "WinDaq", 6, "WinDaq Files", "*.wdq", {}, u".wdq", ReadWinDaqFile},
    {"windaq", "WinDaq", 6, {}, {}, {}, u".wdh", ReadWinDaqFile, false, true},
    {"windaq", "WinDaq", 6, {}, {}, {}, u".whc", ReadWinDaqFile, false, true},
    {"edf", EdfName, 9, EdfName, "*.edf", {}, u".edf", ConvertEdfFile, true},
    {"bdf", BdfName, 9, {}, {}, {"\xff\x42IO"}, u".bdf", ConvertEdfFile, false, true},
    {"acq", "Biopac ACQ", 8, "Biopac 3.x Files", "*.acq", {}, u".acq", ConvertAcqFile, true},
    {"matlab4", "MATLAB version 4", 10, {}, {}, {}, u".mat", ReadMatlab4File},
    {"ar", "AR recorder", 3, {}, {}, {"AR", "RG", "UB"}, {}, ReadArFile},
    {"raw", "Raw 16-bit data", 3, "Raw Data", "*.dat;*.data", {}, {}, ReadRawFile},
};

struct UnreadFormat {
  std::string_view Name;
  std::string_view FirstBytes;
  std::u16string_view Extension;
  bool IsReadInPublished = false;
  bool IsDocument = false;  // nobody records in it
};
constexpr UnreadFormat Unread[] = {
    {"Axon ABF 2", "ABF2", {}},
    {"General Data Format for biosignals", "GDF ", u".gdf"},
    {"BDF, the 24-bit kind of EDF", "\xff\x42IOSEMI", u".bdf", true},
    {"RIFX, big-endian RIFF", "RIFX", {}, true},
    {"RF64, RIFF above 4 GiB", "RF64", {}, true},
    {"HDF5", "\x89HDF\r\n\x1a\n", u".nwb"},
    {"AIFF or another IFF file", "FORM", u".aif"},
    {"TDMS", "TDSm", u".tdms"},
    {"BW64, RIFF above 4 GiB", "BW64", {}, true},
    {"WinDaq of 16 bits", "", u".wdh", true},
    {"compressed WinDaq", "", u".wdc"},
    {"WinDaq of 16 bits", "", u".whc", true},
    {"PDF", "%PDF", u".pdf", false, true},
    {"PNG image", "\x89PNG", u".png", false, true},
    {"JPEG image", "\xff\xd8\xff", u".jpg", false, true},
    {"FLAC", "fLaC", u".flac"},
    {"Ogg", "OggS", u".ogg"},
    {"MP3", "ID3", u".mp3"},
    {"ZIP archive", "PK\x03\x04", u".zip", false, true},
    {"gzip archive", "\x1f\x8b", u".gz", false, true},
};

// The version, where the first bytes tell it.
std::string VersionIn(std::string_view head) {
  if (head.size() < 8) return {};
  if (head.starts_with("ABF2"))  // four bytes, the lowest part first
    return Sentence(" version ", static_cast<Byte>(head[7]), ".", static_cast<Byte>(head[6]), ".",
                    static_cast<Byte>(head[5]), ".", static_cast<Byte>(head[4]));
  if (head.starts_with("GDF ")) return Sentence(" version ", head.substr(4, 4));
  return {};
}

}  // namespace

std::span<const Format> ReadFormats() {
  return Read;
}

const Format* FindFormat(std::string_view id) {
  const auto* const found = std::ranges::find(Read, id, &Format::Id);
  return found != std::end(Read) ? found : nullptr;
}

std::vector<std::string_view> MarksOf(std::string_view id) {
  std::vector<std::string_view> marks;
  for (const Format& format : Read) {
    if (format.Id != id) continue;
    std::ranges::copy_if(format.FirstBytes, std::back_inserter(marks),
                         [](std::string_view mark) { return !mark.empty(); });
  }
  return marks;
}

std::string ExtensionsOf(std::string_view id) {
  std::string patterns;
  for (const Format& format : Read) {
    if (format.Id != id) continue;
    std::string pattern(format.Patterns);
    if (pattern.empty() && !format.Extension.empty()) pattern = "*" + ToUtf8(format.Extension);
    if (!patterns.empty() && !pattern.empty()) patterns += ';';
    patterns += pattern;
  }
  return patterns;
}

const Format& RecogniseFormat(std::string_view head, const String& fileName, Reading as) {
  const String lastFour = LastFour(fileName);
  const auto* const found = std::ranges::find_if(Read, [&](const Format& format) {
    if (format.InPublishedAlone && as != Reading::Published) return false;
    const auto begins = [head](std::string_view mark) {
      return !mark.empty() && head.starts_with(mark);
    };
    return std::ranges::any_of(format.FirstBytes, begins) ||
           (!format.Extension.empty() && format.Extension == lastFour);
  });
  return found != std::end(Read) ? *found : *std::rbegin(Read);
}

bool MayBeRewritten(const String& fileName) {
  const String lastFour = LastFour(fileName);
  return std::ranges::any_of(Read, [&lastFour](const Format& format) {
    return format.IsRewritten && format.Extension == lastFour;
  });
}

bool BeginsLikeUnread(std::string_view head, Reading as) {
  return std::ranges::any_of(Unread, [&](const UnreadFormat& format) {
    return !format.FirstBytes.empty() && head.starts_with(format.FirstBytes) &&
           (as == Reading::Written || !format.IsReadInPublished);
  });
}

bool BeginsLikeDocument(std::string_view head) {
  return std::ranges::any_of(Unread, [head](const UnreadFormat& format) {
    return format.IsDocument && head.starts_with(format.FirstBytes);
  });
}

std::string KnownUnreadFormat(std::string_view head, const String& fileName, Reading as) {
  const String name = LowerCase(fileName);
  for (const UnreadFormat& format : Unread) {
    if (format.IsReadInPublished && as == Reading::Published) continue;
    if (!format.FirstBytes.empty() && head.starts_with(format.FirstBytes))
      return Sentence("begins like ", format.Name, VersionIn(head));
    if (!format.Extension.empty() && name.ends_with(format.Extension))
      return Sentence("is named like ", format.Name);
  }
  return {};
}

}  // namespace lmimport
