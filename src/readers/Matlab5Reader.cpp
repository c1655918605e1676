// MATLAB level 5 MAT-files, by the published layout of the format. Each numeric variable at the top
// level is a block of its own.
//
// As written, little-endian variables without compression alone are walked, matrices with more rows than
// columns have their columns mixed, text and sparse matrices are shown, of complex ones the real part,
// and whole numbers of 16 bits are counts / 3276.8.
//
//   offset  type       field
//        0  116 chars  text; the version is at 7, as in "MATLAB 5.0"
//      124  uint16     version, 0x0100
//      126  2 chars    "IM"; "MI": all numbers are big-endian
//      128             elements, each at a multiple of 8: int32 type, int32 bytes, data
//
//   A variable is an element of type 14, of these sub-elements:
//     array flags  tag with 8 bytes: class, flags (8: complex), six more
//     dimensions   tag with 4 or 8 bytes: one dimension, or rows and columns
//     name         tag and characters, up to the next multiple of 8
//     real part    tag and samples, by columns, and likewise the imaginary part
//   The tags of name and parts can be short: one word of type and size, then the data.
//
//   An element of type 15 is a zlib stream of another element, and has no padding.
#include <algorithm>

#include "model/HeaderView.h"
#include "model/Inflate.h"
#include "readers/MatlabVariables.h"
#include "readers/Readers.h"

namespace lmimport {
namespace {

constexpr std::int64_t Mat5SmallestFile = 144, Mat5VersionText = 7, Mat5VersionWord = 124,
                       Mat5FirstElement = 128, Mat5TagBytes = 8;
constexpr std::int64_t Mat5LeastLeft = 12;  // bytes, where an element can begin
constexpr Long Mat5LeastSize = 5;           // bytes of its data
constexpr std::uint32_t Mat5LittleEndian = 0x4d49, Mat5BigEndian = 0x494d;
constexpr std::uint32_t Mat5Version = 0x0100;

// The types of elements.
constexpr Long Int8Data = 1, Uint8Data = 2, Int16Data = 3, Uint16Data = 4, Int32Data = 5,
               Uint32Data = 6, SingleData = 7, DoubleData = 9, LastBareType = 9, MatrixData = 14,
               CompressedData = 15, FirstUnicodeData = 16, LastUnicodeData = 18;

// The classes of variables.
constexpr Byte CellClass = 1, StructureClass = 2, ObjectClass = 3, CharacterClass = 4,
               SparseClass = 5, FirstNumericClass = 6, LastNumericClass = 13;
constexpr Byte Mat5ComplexFlag = 8;

struct Tag {
  Long Type;
  Long Size;  // bytes
  std::int64_t Position = 0;
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
  void WalkAsPublished();
  void ReadCompressed(std::int64_t position, std::int64_t packed);
  void CountFrom(std::int64_t next);
  void NoteEnd(std::int64_t position, Tag tag);
  void ReadVariable(BlockRec block, std::int64_t end);
  bool ReadShape(BlockRec& block);
  void TellKind(Tag tag);
  void ReadRates(const String& name, Tag tag);
  void Finish(BlockRec block, Tag tag, std::int64_t end = 0);
  bool ChooseKind(BlockRec& block, Tag tag);
  void FinishAsPublished(BlockRec block, Tag tag, std::int64_t end);
  void AddPart(BlockRec block, Tag tag);
  std::pair<Tag, std::int64_t> ReadPartTag(std::int64_t position);
  void LeaveOut(std::string_view reason, std::string detail = {});
  void CheckShown(Tag tag, bool several);
  std::string_view ReasonByClass() const;

  // Parts of a variable are padded, counted from its beginning.
  std::int64_t Padded(std::int64_t position) const {
    return element_ + RaisedToEight(position - element_);
  }
  template <class T>
  T ReadNumber() {
    const T number = at_->ReadValue<T>();
    return isBig_ ? Swapped(number) : number;
  }
  Tag ReadTag() {
    const std::int64_t position = at_->Position();
    const auto type = ReadNumber<Long>();
    return {type, ReadNumber<Long>(), position};
  }
  // `shortest` is the least word that is type and size in one.
  Tag ReadShortableTag(Long shortest) {
    const std::int64_t position = at_->Position();
    const auto word = ReadNumber<Long>();
    if (word >= shortest) return {word & 0xff, word / 65536, position};
    return {word, ReadNumber<Long>(), position};
  }
  template <class T>
  std::vector<Double> ReadMagnitudes(std::int64_t count);

  Opening& opening_;
  BinaryFile& file_;
  bool isBig_ = false;
  std::string versionText_;

  // The current variable: the source it is read from, where it begins there (or another place at a
  // multiple of 8 from it), its class (0 for a bare element), and the larger of its dimensions.
  BinaryFile* at_ = &file_;
  std::int64_t element_ = 0;
  Byte class_ = 0;
  std::int64_t classPosition_ = 0;
  Byte flags_ = 0;
  bool tall_ = false;
  Long longer_ = 0;

  // The stream that it is unpacked from: where that begins, and its bytes, 0 for none.
  std::int64_t packedPosition_ = 0;
  std::int64_t packed_ = 0;

  // All variables, why the last of them was left out, and where the samples of each block lie,
  // before they are unpacked.
  MatlabVariables variables_;
  std::string detail_;
  std::vector<std::int64_t> placed_;

  // Past a compressed variable: where the others lie, and how many of them the walk meets.
  bool isAstray_ = false;
  std::vector<std::int64_t> toBeMet_;
  std::int64_t metCount_ = 0;
};

void Matlab5File::Read() {
  opening_.NeedBytes(Mat5SmallestFile, "a MATLAB level 5 file");
  if (CheckHeader()) opening_.IsPublished() ? WalkAsPublished() : Walk();
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
  auto word = file_.ReadValue<std::uint32_t>();
  isBig_ = opening_.IsPublished() && word >> 16 == Mat5BigEndian;
  if (isBig_) word = (word & 0xffff0000) | Swapped(static_cast<std::uint16_t>(word));
  if (word >> 16 != Mat5LittleEndian && !isBig_) {
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
  while (next + Mat5LeastLeft < size) {
    file_.Seek(next);
    const Tag tag = ReadTag();
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
  classPosition_ = at_->Position();
  const auto word = ReadNumber<std::uint32_t>();
  class_ = static_cast<Byte>(word);
  flags_ = static_cast<Byte>(word >> 8);
  at_->Skip(4);
  if (!ReadShape(block)) return;
  const Tag name = ReadShortableTag(257);
  // Name and samples don't reach beyond their variable, whatever their tags say: so all of them
  // together cost no more than the file.
  if (name.Size > end - at_->Position()) return LeaveOut("damaged");
  at_->ReadFixedString(block.Title, name.Size);
  if (variables_.Classify(block.Title) == MatlabVariables::Kind::LeftOut) return;
  at_->Seek(Padded(at_->Position()));
  const Tag real = ReadShortableTag(256);
  block.DataPtr = at_->Position();
  if (real.Size > end - block.DataPtr) return LeaveOut("damaged");
  // Looked at again, since a name can lose one suffix and keep the other.
  if (MatlabVariables::IsRateName(block.Title)) return ReadRates(block.Title, real);
  Finish(std::move(block), real, end);
}

bool Matlab5File::ReadShape(BlockRec& block) {
  const Tag dimensions = ReadTag();
  const auto rows = ReadNumber<Long>();
  const auto columns = ReadNumber<Long>();
  tall_ = false;
  longer_ = 0;
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
  if (channels > opening_.LargestChannels()) {
    LeaveOut("of too many channels", Sentence(channels, " channels"));
    return false;
  }
  block.ChannelCount = static_cast<Integer>(std::max(channels, 0));  // 0: left out at the end
  tall_ = rows > columns;
  longer_ = std::max(rows, columns);
  return true;
}

template <class T>
std::vector<Double> Matlab5File::ReadMagnitudes(std::int64_t count) {
  std::vector<T> stored(static_cast<std::size_t>(count));
  at_->ReadArray(stored.data(), count);
  if (isBig_) std::ranges::transform(stored, stored.begin(), Swapped<T>);
  std::vector<Double> magnitudes;
  magnitudes.reserve(stored.size());
  for (const T value : stored) magnitudes.push_back(std::abs(static_cast<Double>(value)));
  return magnitudes;
}

// A double keeps its sign; bytes and words are taken without one, all others lose theirs.
void Matlab5File::ReadRates(const String& name, Tag tag) {
  const std::int64_t position = packed_ > 0 ? -1 : at_->Position();
  const auto count = [&](std::int64_t width) {
    return std::clamp<std::int64_t>(tag.Size / width, 0, MatlabVariables::LargestBlockCount);
  };
  const auto set = [&](std::vector<Double> rates, std::int64_t width) {
    variables_.SetRates(name, {std::move(rates), position, width});
  };
  switch (tag.Type) {
    case Int8Data:
    case Uint8Data:
      return set(ReadMagnitudes<Byte>(count(1)), 1);
    case Int16Data:
    case Uint16Data:
      return set(ReadMagnitudes<std::uint16_t>(count(2)), 2);
    case Int32Data:
    case Uint32Data:
      return set(ReadMagnitudes<Long>(count(4)), 4);
    case SingleData:
      return set(ReadMagnitudes<Single>(count(4)), 4);
    case DoubleData: {
      std::vector<Double> rates(static_cast<std::size_t>(count(8)));
      at_->ReadDoubleArray(rates.data(), count(8));
      if (isBig_) std::ranges::transform(rates, rates.begin(), Swapped<Double>);
      return set(std::move(rates), 8);
    }
    default:
      return;
  }
}

// Of the last block. What lies in a stream has no place in the file.
void Matlab5File::TellKind(Tag tag) {
  const auto placeOf = [this](std::int64_t position) {
    return Place(packed_ > 0 ? -1 : position, static_cast<int>(opening_.Store.Blocks.size()) - 1);
  };
  if (class_ != 0)
    opening_.Tell(placeOf(classPosition_), "class", class_,
                  "class of the variable: 6 double, 7 single, 8 and 9 int8 and uint8, 10 and 11 "
                  "int16 and uint16, 12 and 13 int32 and uint32");
  opening_.Tell(placeOf(tag.Position), "type", tag.Type,
                "kind of samples: 1 and 2 int8 and uint8, 3 and 4 int16 and uint16, 5 and 6 int32 "
                "and uint32, 7 Singles, 9 Doubles");
}

// False where samples of that type aren't shown, and the variable is left out.
bool Matlab5File::ChooseKind(BlockRec& block, Tag tag) {
  const auto leaveOut = [this](const char* detail) {
    LeaveOut(ReasonByClass(), detail);
    return false;
  };
  const bool published = opening_.IsPublished();
  block.SampleUnsigned = 0;
  switch (tag.Type) {
    case Int16Data:
    case Uint16Data:
      block.SampleType = SampleInt16;
      block.SampleUnsigned = tag.Type == Uint16Data ? -1 : 0;
      return true;
    case SingleData:
      block.SampleType = SampleSingle;
      return true;
    case DoubleData:
      block.SampleType = SampleDouble;
      return true;
    case Int8Data:
    case Uint8Data:
      if (!published) return leaveOut(tag.Type == Int8Data ? "miINT8" : "miUINT8");
      block.SampleType = SampleInt8;
      block.SampleUnsigned = tag.Type == Uint8Data ? -1 : 0;
      return true;
    case Int32Data:
    case Uint32Data:
      if (!published) return leaveOut(tag.Type == Int32Data ? "miINT32" : "miUINT32");
      block.SampleType = SampleInt32;
      block.SampleUnsigned = tag.Type == Uint32Data ? -1 : 0;
      return true;
    default:
      return leaveOut("");
  }
}

// `end` is that of the variable, which its parts don't pass.
void Matlab5File::Finish(BlockRec block, Tag tag, std::int64_t end) {
  if (block.ChannelCount < 1) return LeaveOut("empty");
  if (opening_.IsPublished() && (class_ < FirstNumericClass || class_ > LastNumericClass))
    return LeaveOut(ReasonByClass());
  if (!ChooseKind(block, tag)) return;
  block.SizeChannel = tag.Size / block.ChannelCount / SampleWidth(block.SampleType);
  if (block.SizeChannel < 2) return LeaveOut("of fewer than two samples");
  if (opening_.IsPublished()) return FinishAsPublished(std::move(block), tag, end);
  const bool several = block.ChannelCount > 1;
  if (!variables_.Add(std::move(block))) return;
  TellKind(tag);
  CheckShown(tag, several);
}

// One part of a variable, real or imaginary: each is stored in the type that suits it.
void Matlab5File::AddPart(BlockRec block, Tag tag) {
  const std::int64_t width = SampleWidth(block.SampleType);
  const std::int64_t position = block.DataPtr;
  // A file that is cut off has no more channels than it has bytes.
  if (packed_ == 0 && position + block.ChannelCount * width > file_.Size())
    return LeaveOut("cut off");
  block.SizeChannel = std::min<Long>(longer_, HeldAsLong(tag.Size / (block.ChannelCount * width)));
  block.BigEndian = isBig_ && width > 1;
  if (tall_ && block.ChannelCount > 1) block.SetColumns();
  std::int64_t bytes = std::int64_t{block.SizeChannel} * block.ChannelCount * width;
  if (packed_ == 0) {
    const Long held = HeldAsLong(block.FramesIn(file_.Size()));
    bytes = std::min(bytes, file_.Size() - position);
    if (held < block.SizeChannel)
      opening_.Warn("data-cut-off", {file_.Size(), HeldAsLong(std::ssize(placed_))},
                    "A variable claims ", block.SizeChannel, " frames, and the file holds ", held,
                    "; those are shown.");
    block.SizeChannel = held;
  }
  // A packed variable, or one beside such, is to lie in the file that they are unpacked into.
  block.DataPtr = packed_ > 0
                      ? variables_.Packed().AddPacked(packedPosition_, packed_, position, bytes)
                      : variables_.Packed().AddPlain(position, bytes);
  if (!variables_.Add(std::move(block))) return;
  placed_.push_back(position);
  TellKind(tag);
}

// The tag at a place of the current variable, and where its data begin.
std::pair<Tag, std::int64_t> Matlab5File::ReadPartTag(std::int64_t position) {
  if (packed_ == 0) {
    at_->Seek(position);
    const Tag tag = ReadShortableTag(256);
    return {tag, at_->Position()};
  }
  const auto there = std::make_shared<const InflatedHead>(*file_.Source(), packedPosition_, packed_,
                                                          position, Mat5TagBytes);
  BinaryFile inflated(opening_.Texts, there);
  BinaryFile* const before = std::exchange(at_, &inflated);
  const Tag tag = ReadShortableTag(256);
  at_ = before;
  return {tag, position + inflated.Position()};
}

void Matlab5File::FinishAsPublished(BlockRec block, Tag tag, std::int64_t end) {
  if ((flags_ & Mat5ComplexFlag) == 0) return AddPart(std::move(block), tag);
  BlockRec imaginary = block;
  const auto [second, position] = ReadPartTag(Padded(block.DataPtr + tag.Size));
  imaginary.DataPtr = position;
  if (second.Size < 0 || second.Size > end - position) return LeaveOut("damaged");
  if (!ChooseKind(imaginary, second)) return;
  block.Title += u"Re";
  imaginary.Title += u"Im";
  AddPart(std::move(block), tag);
  AddPart(std::move(imaginary), second);
}

// Compressed elements aren't padded, all others are.
void Matlab5File::WalkAsPublished() {
  const std::int64_t size = file_.Size();
  for (std::int64_t next = Mat5FirstElement; next + Mat5LeastLeft < size;) {
    file_.Seek(next);
    const Tag tag = ReadTag();
    if (tag.Size < Mat5LeastSize) {
      NoteEnd(next, tag);
      break;
    }
    const std::int64_t body = next + Mat5TagBytes;
    const std::int64_t end = body + tag.Size;
    element_ = packed_ = 0;
    next = tag.Type == CompressedData ? end : body + RaisedToEight(tag.Size);
    if (tag.Type == MatrixData) {
      element_ = body;
      ReadVariable({}, end);
    } else if (tag.Type == CompressedData) {
      ReadCompressed(body, std::min<std::int64_t>(tag.Size, size - body));
    } else {
      LeaveOut("of an unknown type");
    }
  }
  // Where nothing is packed, all stays where it is.
  if (!variables_.Packed().IsEmpty()) return;
  for (std::size_t i = 0; i < opening_.Store.Blocks.size(); ++i)
    opening_.Store.Blocks[i].DataPtr = placed_[i];
}

// What the stream stands for is looked at as far as its samples, which may be long.
void Matlab5File::ReadCompressed(std::int64_t position, std::int64_t packed) {
  constexpr std::size_t headBytes = 65536;
  if (!CanInflate()) return LeaveOut("compressed, which this build doesn't undo");
  const auto head =
      std::make_shared<const InflatedHead>(*file_.Source(), position, packed, 0, headBytes);
  BinaryFile inflated(opening_.Texts, head);
  at_ = &inflated;
  packed_ = packed;
  packedPosition_ = position;
  const Tag tag = ReadTag();
  const std::int64_t end = Mat5TagBytes + tag.Size;
  if (tag.Type != MatrixData)
    LeaveOut("of an unknown type");
  else if (tag.Size < 0 || end > LargestInflated(packed))
    LeaveOut("damaged");
  else
    ReadVariable({}, end);
  at_ = &file_;
  packed_ = 0;
}

// The samples of a cell, a structure or a sparse matrix are not samples, whatever their type.
std::string_view Matlab5File::ReasonByClass() const {
  switch (class_) {
    case CellClass:
    case StructureClass:
    case ObjectClass:
      return "of cells, structures or objects";
    case CharacterClass:
      return "of text";
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
