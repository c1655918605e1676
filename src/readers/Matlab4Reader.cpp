// MATLAB version 4 MAT-files, by the published layout of the format. The file has no header: variables
// follow each other, each in the byte order that its type tells, and what isn't one ends the walk.
//
// As written, little-endian variables alone are walked, matrices with more rows than columns have their
// columns mixed, text and sparse matrices are shown, and whole numbers are counts / 3276.8.
//
//   offset  type    field
//        0  int32   type, by its decimal digits: 1000s byte order, 100s zero, 10s number, 1s matrix
//        4  int32   rows
//        8  int32   columns
//       12  int32   1: an imaginary part follows the real one
//       16  int32   bytes of the name, with its zero byte
//       20          name, real part, imaginary part, by columns
#include <algorithm>

#include "model/HeaderView.h"
#include "readers/MatlabVariables.h"
#include "readers/Readers.h"

namespace lmimport {
namespace {

constexpr std::int64_t Mat4HeadBytes = 20;

struct Mat4Number {
  Integer SampleType;
  Integer SampleUnsigned;
  std::int64_t Width;  // bytes
  bool Shown;
};

// By the tens digit.
constexpr std::array Mat4Numbers = {
    Mat4Number{SampleDouble, 0, 8, true}, Mat4Number{SampleSingle, 0, 4, true},
    Mat4Number{SampleInt32, 0, 4, false}, Mat4Number{SampleInt16, 0, 2, true},
    Mat4Number{SampleInt16, -1, 2, true}, Mat4Number{SampleInt8, -1, 1, false}};

struct Mat4Head {
  Long Type;
  Long Rows;
  Long Columns;
  Long Imaginary;
  Long NameLength;
  bool IsBigEndian = false;

  bool IsComplex() const { return Imaginary == 1; }
  Long Matrix() const { return Type % 10; }
};

// Held where no file reaches: rows and columns of 31 bits each have a product that no type holds.
std::int64_t PartBytes(const Mat4Head& head, std::int64_t width) {
  constexpr std::int64_t beyondAnyFile = std::int64_t{1} << 56;
  const std::int64_t cells = std::int64_t{head.Rows} * head.Columns;
  return std::min(cells, beyondAnyFile) * width;
}

class Matlab4File {
 public:
  explicit Matlab4File(Opening& opening)
      : opening_(opening), file_(opening.DataFile), variables_(opening) {}

  void Read();

 private:
  std::int64_t ReadVariable(std::int64_t start);
  void ReadSamples(const Mat4Head& head, const Mat4Number& number, BlockRec block);
  void ReadRates(const Mat4Head& head, const String& name, std::int64_t position);
  bool FindShape(const Mat4Head& head, BlockRec& block) const;

  Opening& opening_;
  BinaryFile& file_;
  MatlabVariables variables_;
};

void Matlab4File::Read() {
  constexpr std::int64_t leastLeft = 24;
  const std::int64_t size = file_.Size();
  for (std::int64_t next = 0; next + leastLeft < size;) {
    const std::int64_t start = next;
    next = ReadVariable(start);
    if (next > start) continue;
    opening_.Note("walk-ended", start,
                  "The walk of the variables ends here, at what isn't a variable of a "
                  "little-endian file.");
    break;
  }
  variables_.Finish(4);
}

// Gives the position of the next variable, or -1 where the walk ends.
std::int64_t Matlab4File::ReadVariable(std::int64_t start) {
  constexpr std::int64_t endOfWalk = -1;
  std::array<Long, 5> words{};
  file_.Seek(start);
  if (file_.ReadInt32Array(words.data(), 5) < 5) return endOfWalk;
  Mat4Head head = {words[0], words[1], words[2], words[3], words[4]};
  if (opening_.IsPublished() && Swapped(words[0]) / 1000 == 1) {
    std::ranges::transform(words, words.begin(), Swapped<Long>);
    head = {words[0] - 1000, words[1], words[2], words[3], words[4], true};
  }
  const Long kind = head.Type / 10;
  if (head.Type / 100 != 0 || kind < 0 || kind >= static_cast<Long>(Mat4Numbers.size()))
    return endOfWalk;
  if (head.Rows < 1 || head.Columns < 1 || head.NameLength < 0) return endOfWalk;
  if (head.NameLength > file_.Size() - file_.Position()) return endOfWalk;
  const Mat4Number& number = Mat4Numbers[static_cast<std::size_t>(kind)];
  BlockRec block;
  block.DataPtr = start + Mat4HeadBytes + head.NameLength;
  const std::int64_t next =
      block.DataPtr + PartBytes(head, number.Width) * (head.IsComplex() ? 2 : 1);
  if (head.NameLength > 1) {
    file_.ReadFixedString(block.Title, head.NameLength - 1);
    // Rates that aren't doubles are passed over before their name is looked at.
    if (MatlabVariables::IsRateName(block.Title) && number.SampleType != SampleDouble) {
      variables_.LeaveOut("rates that aren't doubles");
      return next;
    }
    const MatlabVariables::Kind found = variables_.Classify(block.Title);
    if (found == MatlabVariables::Kind::Rate) ReadRates(head, block.Title, block.DataPtr);
    if (found != MatlabVariables::Kind::Samples) return next;
  }
  ReadSamples(head, number, std::move(block));
  return next;
}

// A matrix that is neither a row nor a column has as many rates as the one before it.
void Matlab4File::ReadRates(const Mat4Head& head, const String& name, std::int64_t position) {
  std::int64_t count = variables_.RateCount();
  if (head.Columns == 1) count = head.Rows;
  if (head.Rows == 1) count = head.Columns;
  MatlabVariables::Rates rates{{}, position, sizeof(Double)};
  rates.Values.resize(
      static_cast<std::size_t>(std::min(count, MatlabVariables::LargestBlockCount)));
  file_.Seek(position);
  file_.ReadDoubleArray(rates.Values.data(), std::ssize(rates.Values));
  if (head.IsBigEndian) std::ranges::transform(rates.Values, rates.Values.begin(), Swapped<Double>);
  variables_.SetRates(name, std::move(rates));
}

bool Matlab4File::FindShape(const Mat4Head& head, BlockRec& block) const {
  const bool tall = head.Columns <= head.Rows;
  const Long channels = tall ? head.Columns : head.Rows;
  if (channels > opening_.LargestChannels()) return false;
  block.ChannelCount = static_cast<Integer>(channels);
  block.SizeChannel = tall ? head.Rows : head.Columns;
  return true;
}

void Matlab4File::ReadSamples(const Mat4Head& head, const Mat4Number& number, BlockRec block) {
  const bool published = opening_.IsPublished();
  if (!FindShape(head, block)) return variables_.LeaveOut("of too many channels");
  if (block.SizeChannel < 2) return variables_.LeaveOut("of fewer than two samples");
  if (published && head.Matrix() != 0) return variables_.LeaveOut("of text, or sparse");
  if (!number.Shown && !published) return variables_.LeaveOut("of bytes or 32-bit integers");
  block.SampleType = number.SampleType;
  block.SampleUnsigned = number.SampleUnsigned;
  const std::int64_t part = PartBytes(head, number.Width);
  const std::int64_t imaginary = block.DataPtr + part;
  const bool mixed = head.Rows > head.Columns && block.ChannelCount > 1;
  if (published) {
    if (part > opening_.Store.FileSize) return variables_.LeaveOut("cut off");
    block.BigEndian = head.IsBigEndian && number.Width > 1;
    if (mixed) block.SetColumns();
  }
  const std::int64_t start = block.DataPtr - head.NameLength - Mat4HeadBytes;
  if (!variables_.Add(std::move(block))) return;
  constexpr Long bigEndian = 1000;
  opening_.Tell({start, static_cast<int>(opening_.Store.Blocks.size()) - 1}, "type",
                head.Type + (head.IsBigEndian ? bigEndian : 0),
                "kind of samples, by its tens: 0 Doubles, 1 Singles, 2 32-bit integers, 3 16-bit "
                "integers, 4 without a sign, 5 bytes");
  if (!published) {
    if (number.SampleType == SampleInt16)
      variables_.Warn("stored as 16-bit integers and shown as counts / 3276.8");
    if (head.Matrix() == 1) variables_.Warn("of text");
    if (head.Matrix() == 2) variables_.Warn("sparse");
    if (mixed)
      variables_.Warn("with more rows than columns, whose columns are mixed in the channels");
  }
  if (head.IsComplex()) variables_.AddImaginary(imaginary);
}

}  // namespace

void ReadMatlab4File(Opening& opening) {
  Matlab4File(opening).Read();
}

}  // namespace lmimport
