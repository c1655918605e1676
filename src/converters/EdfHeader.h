// The header of an EDF file.
#pragma once

#include "model/Opening.h"

namespace lmimport {

struct EdfSignal {
  enum class Kind : Integer { BeyondLimit = -1, Channel = 0, Annotations = 1 };

  Kind SignalKind = Kind::Channel;
  String Label;
  String Unit;
  Double PhysicalMin = 0;  // these two as written in the precision of Singles
  Double PhysicalMax = 0;
  Long DigitalMin = 0;
  Long DigitalMax = 0;
  Long RecordSamples = 0;

  bool IsChannel() const { return SignalKind == Kind::Channel; }
};

struct EdfHeader {
  bool IsBdf = false;  // samples of 24 bits

  String Notes;  // patient and recording, a line each
  Date StartDateTime = 0;
  bool HasStart = false;         // StartDateTime is stated
  bool IsPlus = false;           // EDF+
  bool IsDiscontinuous = false;  // EDF+D
  std::int64_t RecordCount = 0;  // as stated; below 1: not known
  Double RecordDuration = 0;     // seconds, above 0; as written in the precision of a Single
  std::vector<EdfSignal> Signals;
  std::int64_t ChunkStart = 0;  // first byte of the first record
  bool MisreadUtf8 = false;     // texts are UTF-8, and shown by another page
};

/// The label of annotation signals.
std::u16string_view EdfAnnotationLabel(const EdfHeader& header);

/// Tells the fields of the recording, and of a signal that is a channel.
void TellEdfHeader(Opening& opening, const EdfHeader& header);
void TellEdfSignal(Opening& opening, const EdfHeader& header, std::size_t signal, std::size_t block,
                   std::size_t channel);

/// Refuses what isn't an EDF header, and, as a fault that names the field, a text that isn't a whole
/// number. A text cut off by the end of the file is what is left of it.
EdfHeader ReadEdfHeader(Opening& opening);

}  // namespace lmimport
