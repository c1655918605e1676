// The samples of an ACQ file whose channels aren't alike, each channel by itself.
#pragma once

#include "model/Opening.h"

namespace lmimport {

/// A channel as its header states it.
struct PublishedAcqChannel {
  String Title;
  String Unit;
  std::int64_t Count = 0;
  Double Scale = 1;
  Double Offset = 0;
  std::int64_t Divider = 1;
  Integer Kind = SampleInt16;
  std::int64_t Column = 0;  // where its samples lie once they are unpacked
  std::int64_t HeaderPosition = 0;
  std::int64_t KindPosition = 0;

  std::int64_t Width() const { return SampleWidth(Kind); }
};

/// The file holds them step by step: at each, a sample of each channel whose divider divides the number
/// of the step, until that has all it states.
class AcqColumns {
 public:
  AcqColumns(std::vector<PublishedAcqChannel> channels, std::int64_t dataStart)
      : channels_(std::move(channels)), dataStart_(dataStart) {}

  /// Puts each channel to its Column of a temporary file, which becomes the store's. What the file
  /// doesn't hold is zero.
  void Unpack(Opening& opening) const;

 private:
  struct Column {
    std::int64_t Next = 0;  // the step of the next sample
    std::int64_t Left = 0;
    std::int64_t Written = 0;  // bytes
    std::size_t Filled = 0;
    std::vector<std::byte> Bytes;
  };
  static void Flush(FileSource& file, const PublishedAcqChannel& channel, Column& column);

  std::vector<PublishedAcqChannel> channels_;
  std::int64_t dataStart_;
};

}  // namespace lmimport
