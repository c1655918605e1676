// The header of an EDF file.
#pragma once

#include "model/Opening.h"

namespace lmimport {

struct EdfSignal {
  enum class Kind : Integer { BeyondLimit = -1, Channel = 0, Annotations = 1 };

  Kind SignalKind = Kind::Channel;
  String Label;
  String Unit;
  Single PhysicalMin = 0;
  Single PhysicalMax = 0;
  Long DigitalMin = 0;
  Long DigitalMax = 0;
  Long RecordSamples = 0;

  bool IsChannel() const { return SignalKind == Kind::Channel; }
};

/// The label of annotation signals; of other signals, the beginning.
inline constexpr std::u16string_view EdfAnnotationLabel = u"EDF Annotations";

struct EdfHeader {
  String Notes;  // patient and recording, a line each
  Date StartDateTime = 0;
  bool IsPlus = false;           // EDF+
  bool IsDiscontinuous = false;  // EDF+D
  std::int64_t RecordCount = 0;  // as stated; below 1: not known
  Single RecordDuration = 0;     // seconds, above 0
  std::vector<EdfSignal> Signals;
  std::int64_t ChunkStart = 0;  // first byte of the first record
  bool MisreadUtf8 = false;     // texts are UTF-8, and shown by another page
};

/// Refuses what isn't an EDF header, and, as a fault that names the field, a text that isn't a whole
/// number. A text cut off by the end of the file is what is left of it.
EdfHeader ReadEdfHeader(Opening& opening);

}  // namespace lmimport
