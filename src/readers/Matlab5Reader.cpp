// MATLAB level 5 MAT-files, by the published layout of the format; little-endian and without
// compression only. Each numeric variable at the top level is a block of its own.
//
//   offset  type       field
//        0  116 chars  text; the version is at 7, as in "MATLAB 5.0"
//      124  uint16     version, 0x0100
//      126  2 chars    "IM"
//      128             elements, each at a multiple of 8: int32 type, int32 bytes, data
//
//   A variable is an element of type 14, of these sub-elements:
//     array flags  tag with 8 bytes: class, flags (8: complex), six more
//     dimensions   tag with 4 or 8 bytes: one dimension, or rows and columns
//     name         tag and characters, up to the next multiple of 8
//     real part    tag and samples
//   The tags of name and real part can be short: one word of type and size, then the data.
#include <algorithm>

#include "readers/MatlabVariables.h"
#include "readers/Readers.h"

namespace lmimport {
namespace {

constexpr std::int64_t Mat5SmallestFile = 144, Mat5VersionText = 7, Mat5VersionWord = 124,
                       Mat5FirstElement = 128, Mat5TagBytes = 8;
constexpr std::int64_t Mat5LeastLeft = 12;  // bytes, where an element can begin
constexpr Long Mat5LeastSize = 5;           // bytes of its data
constexpr std::uint32_t Mat5LittleEndian = 0x4d49;
constexpr std::uint32_t Mat5Version = 0x0100;

// The types of elements.
constexpr Long Int8Data = 1, Uint8Data = 2, Int16Data = 3, Uint16Data = 4, Int32Data = 5,
               Uint32Data = 6, SingleData = 7, DoubleData = 9, LastBareType = 9, MatrixData = 14,
               CompressedData = 15, FirstUnicodeData = 16, LastUnicodeData = 18;

// The classes of variables.
constexpr Byte CellClass = 1, StructureClass = 2, ObjectClass = 3, CharacterClass = 4,
               SparseClass = 5;
constexpr Byte Mat5ComplexFlag = 8;

struct Tag {
  Long Type;
  Long Size;  // bytes
};

std::int64_t RaisedToEight(std::int64_t position) {
  return (position + 7) / 8 * 8;
}

class Matlab5File {
 public:
  explicit Matlab5File(Opening& opening)
      : opening_(opening), file_(opening.DataFile), variables_(opening) {}

  void Read();

 private:
  bool CheckHeader();
  void Walk();
  void CountFrom(std::int64_t next);
  void NoteEnd(std::int64_t position, Tag tag);
  void ReadVariable(BlockRec block, std::int64_t end);
  bool ReadShape(BlockRec& block);
  void ReadRates(Tag tag);
  void Finish(BlockRec block, Tag tag);
  void LeaveOut(std::string_view reason, std::string detail = {});
  void CheckShown(Tag tag, bool several);
  std::string_view ReasonByClass() const;

  Tag ReadTag() {
    const auto type = file_.ReadValue<Long>();
    return {type, file_.ReadValue<Long>()};
  }
  // `shortest` is the least word that is type and size in one.
  Tag ReadShortableTag(Long shortest) {
    const auto word = file_.ReadValue<Long>();
    if (word >= shortest) return {word & 0xff, word / 65536};
    return {word, file_.ReadValue<Long>()};
  }

  Opening& opening_;
  BinaryFile& file_;
  MatlabVariables variables_;
  std::string versionText_;
  std::string detail_;  // of the last variable that was left out, for the message
  Byte class_ = 0;      // of the current variable; 0 for a bare element
  Byte flags_ = 0;
  bool tall_ = false;
  bool isAstray_ = false;
  std::vector<std::int64_t> toBeMet_;  // where variables lie after a compressed one,
  std::int64_t metCount_ = 0;          // and how many of them the walk meets
};

void Matlab5File::Read() {
  opening_.NeedBytes(Mat5SmallestFile, "a MATLAB level 5 file");
  if (CheckHeader()) Walk();
  for (std::int64_t i = metCount_; i < std::ssize(toBeMet_); ++i)
    variables_.LeaveOut("after compressed ones");
  variables_.Finish(5, detail_.empty() ? "" : " (" + detail_ + ")");
}

bool Matlab5File::CheckHeader() {
  String text;
  file_.Seek(Mat5VersionText);
  file_.ReadFixedString(text, 3);
  versionText_ = "v" + ToUtf8(text);
  file_.Seek(Mat5VersionWord);
  const auto word = file_.ReadValue<std::uint32_t>();
  if (word >> 16 != Mat5LittleEndian) {
    detail_ = "Big-Endian";
  } else if ((word & 0xffff) != Mat5Version) {
    detail_ = versionText_;
  }
  return detail_.empty();
}

void Matlab5File::Walk() {
  const std::int64_t size = file_.Size();
  for (std::int64_t next = Mat5FirstElement; next + Mat5LeastLeft < size;) {
    file_.Seek(next);
    const Tag tag = ReadTag();
    if (tag.Size < Mat5LeastSize) return NoteEnd(next, tag);
    if (tag.Type == CompressedData && !isAstray_) CountFrom(next);
    const auto met = std::ranges::lower_bound(toBeMet_, next);
    if (met != toBeMet_.end() && *met == next) ++metCount_;
    const std::int64_t end = next + Mat5TagBytes + tag.Size;
    next = RaisedToEight(end);
    BlockRec block;
    if (tag.Type <= LastBareType) {
      class_ = flags_ = 0;
      tall_ = false;
      block.DataPtr = file_.Position();
      block.ChannelCount = 1;
      Finish(std::move(block), tag);
    } else if (tag.Type == MatrixData) {
      ReadVariable(std::move(block), end);
    } else if (tag.Type == CompressedData) {
      LeaveOut("compressed", versionText_ + " - COMPRESSED");
    } else if (tag.Type >= FirstUnicodeData && tag.Type <= LastUnicodeData) {
      LeaveOut("of text", "Unicode Character Data");
    } else {
      LeaveOut("of an unknown type");
    }
  }
}

// Compressed elements aren't padded, and the walk takes them as if they were: past one it may go
// astray, and what it meets there is no variable. So what is told is counted by the layout.
void Matlab5File::CountFrom(std::int64_t next) {
  const std::int64_t size = file_.Size();
  for (Tag tag{}; next + Mat5LeastLeft < size;) {
    file_.Seek(next);
    tag = ReadTag();
    if (tag.Size < Mat5LeastSize) {
      NoteEnd(next, tag);
      break;
    }
    const bool compressed = tag.Type == CompressedData;
    if (compressed)
      variables_.LeaveOut("compressed");
    else
      toBeMet_.push_back(next);
    const std::int64_t end = next + Mat5TagBytes + tag.Size;
    next = compressed ? end : RaisedToEight(end);
  }
  isAstray_ = true;
}

void Matlab5File::NoteEnd(std::int64_t position, Tag tag) {
  if (!isAstray_)
    opening_.Note("walk-ended", position, "The walk of the variables ends here, at an element of ",
                  static_cast<std::uint32_t>(tag.Size), " bytes; what follows isn't looked at.");
}

void Matlab5File::ReadVariable(BlockRec block, std::int64_t end) {
  if (ReadTag().Size != Mat5TagBytes) return LeaveOut("damaged");
  class_ = file_.ReadValue<Byte>();
  flags_ = file_.ReadValue<Byte>();
  file_.Skip(6);
  if (!ReadShape(block)) return;
  const Tag name = ReadShortableTag(257);
  // Name and samples don't reach beyond their variable, whatever their tags say: so all of them
  // together cost no more than the file.
  if (name.Size > end - file_.Position()) return LeaveOut("damaged");
  file_.ReadFixedString(block.Title, name.Size);
  if (variables_.Classify(block.Title) == MatlabVariables::Kind::LeftOut) return;
  file_.Seek(RaisedToEight(file_.Position()));
  const Tag real = ReadShortableTag(256);
  block.DataPtr = file_.Position();
  if (real.Size > end - block.DataPtr) return LeaveOut("damaged");
  // Looked at again, since a name can lose one suffix and keep the other.
  if (MatlabVariables::IsRateName(block.Title)) return ReadRates(real);
  Finish(std::move(block), real);
}

bool Matlab5File::ReadShape(BlockRec& block) {
  const Tag dimensions = ReadTag();
  const auto rows = file_.ReadValue<Long>();
  const auto columns = file_.ReadValue<Long>();
  tall_ = false;
  if (dimensions.Size == 4) {
    block.ChannelCount = 1;
    return true;
  }
  if (dimensions.Size != 8) {
    LeaveOut("of another number of dimensions than two",
             Sentence(dimensions.Size / 4, "-dimension array"));
    return false;
  }
  const Long channels = std::min(rows, columns);
  if (channels > LargestChannelCount) {
    LeaveOut("of more than 32 channels", Sentence(channels, " channels"));
    return false;
  }
  block.ChannelCount = static_cast<Integer>(std::max(channels, 0));  // 0: left out at the end
  tall_ = rows > columns;
  return true;
}

template <class T>
std::vector<Double> ReadMagnitudes(BinaryFile& file, std::int64_t count) {
  std::vector<T> stored(static_cast<std::size_t>(count));
  file.ReadArray(stored.data(), count);
  std::vector<Double> magnitudes;
  magnitudes.reserve(stored.size());
  for (const T value : stored) magnitudes.push_back(std::abs(static_cast<Double>(value)));
  return magnitudes;
}

// A double keeps its sign; bytes and words are taken without one, all others lose theirs.
void Matlab5File::ReadRates(Tag tag) {
  const auto count = [&](std::int64_t width) {
    return std::clamp<std::int64_t>(tag.Size / width, 0, MatlabVariables::LargestBlockCount);
  };
  switch (tag.Type) {
    case Int8Data:
    case Uint8Data:
      return variables_.SetRates(ReadMagnitudes<Byte>(file_, count(1)));
    case Int16Data:
    case Uint16Data:
      return variables_.SetRates(ReadMagnitudes<std::uint16_t>(file_, count(2)));
    case Int32Data:
    case Uint32Data:
      return variables_.SetRates(ReadMagnitudes<Long>(file_, count(4)));
    case SingleData:
      return variables_.SetRates(ReadMagnitudes<Single>(file_, count(4)));
    case DoubleData: {
      std::vector<Double> rates(static_cast<std::size_t>(count(8)));
      file_.ReadDoubleArray(rates.data(), count(8));
      return variables_.SetRates(std::move(rates));
    }
    default:
      return;
  }
}

void Matlab5File::Finish(BlockRec block, Tag tag) {
  if (block.ChannelCount < 1) return LeaveOut("empty");
  switch (tag.Type) {
    case Int16Data:
    case Uint16Data:
      block.SampleType = SampleInt16;
      block.SampleUnsigned = tag.Type == Uint16Data ? -1 : 0;
      break;
    case SingleData:
      block.SampleType = SampleSingle;
      break;
    case DoubleData:
      block.SampleType = SampleDouble;
      break;
    case Int8Data:
      return LeaveOut(ReasonByClass(), "miINT8");
    case Uint8Data:
      return LeaveOut(ReasonByClass(), "miUINT8");
    case Int32Data:
      return LeaveOut(ReasonByClass(), "miINT32");
    case Uint32Data:
      return LeaveOut(ReasonByClass(), "miUINT32");
    default:
      return LeaveOut(ReasonByClass());
  }
  block.SizeChannel = tag.Size / block.ChannelCount / SampleWidth(block.SampleType);
  if (block.SizeChannel < 2) return LeaveOut("of fewer than two samples");
  const bool several = block.ChannelCount > 1;
  if (variables_.Add(std::move(block))) CheckShown(tag, several);
}

// The samples of a cell, a structure or a sparse matrix are not samples, whatever their type.
std::string_view Matlab5File::ReasonByClass() const {
  switch (class_) {
    case CellClass:
    case StructureClass:
    case ObjectClass:
      return "of cells, structures or objects";
    case SparseClass:
      return "sparse";
    default:
      return "of bytes or 32-bit integers, or of no numbers";
  }
}

void Matlab5File::CheckShown(Tag tag, bool several) {
  if (class_ == CharacterClass) variables_.Warn("of text");
  if (class_ == SparseClass) variables_.Warn("sparse");
  if (tag.Type == Int16Data || tag.Type == Uint16Data)
    variables_.Warn("stored as 16-bit integers and shown as counts / 3276.8");
  if (tall_ && several)
    variables_.Warn("with more rows than columns, whose columns are mixed in the channels");
  if ((flags_ & Mat5ComplexFlag) != 0) variables_.Warn("complex, without their imaginary part");
}

void Matlab5File::LeaveOut(std::string_view reason, std::string detail) {
  if (!isAstray_) variables_.LeaveOut(reason);
  if (!detail.empty()) detail_ = std::move(detail);
}

}  // namespace

void ReadMatlab5File(Opening& opening) {
  Matlab5File(opening).Read();
}

}  // namespace lmimport
