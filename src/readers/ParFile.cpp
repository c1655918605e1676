// ".par" parameter files. Little-endian, nothing is aligned.
//
//   offset  type       field
//        0  char       version; "3" and above have comments behind the full layout
//        8  7 chars    mark: "1618190" short or long layout, "7859525" full layout
//       16  char       "A": long layout
//       20  17 chars   converter model
//
//   short, 223 bytes             long, 341 bytes              full, 17131 bytes: short and
//    91  single  rate in kHz     109  double    rate in kHz     235  32 doubles  factor 1
//    95  32 x 1  slot recorded   117  32 int32  recorded        491  32 doubles  shift 1, in counts
//   159  32 x 1  gain codes           (their low byte)          747  32 doubles  shift 2, in units
//                                277  32 x 1    gain codes     8939  32 doubles  factor 2
//
// Comments: int32 count, then as many records of int32 samples to the next record, 20 bytes, a byte
// that is above 0 where 256 bytes of text follow. The first record is the title of the block.
//
// A file that ends early counts as filled with zeros up to its layout. Behind its end, the comment
// record in hand counts again.
#include <cmath>

#include "readers/AdcTables.h"
#include "readers/FixedText.h"
#include "readers/HeaderView.h"
#include "readers/Sidecars.h"

namespace lmimport {
namespace {

constexpr std::int64_t ParSmallestFile = 223;
constexpr std::size_t ParHeadBytes = 67;
constexpr std::size_t ParFullBytes = 17131;
constexpr std::size_t ParSlots = 32;
constexpr std::size_t ParNoteHeadBytes = 25;
constexpr std::size_t ParNoteTextBytes = 256;

constexpr std::size_t ParVersion = 0;
constexpr std::size_t ParMark = 8;
constexpr std::size_t ParMarkBytes = 7;
constexpr std::size_t ParVariant = 16;
constexpr std::size_t ParModel = 20;
constexpr std::size_t ParModelBytes = 17;
constexpr std::size_t ParFactor1 = 235;
constexpr std::size_t ParShift1 = 491;
constexpr std::size_t ParShift2 = 747;
constexpr std::size_t ParFactor2 = 8939;
constexpr std::size_t ParNoteStep = 0;
constexpr std::size_t ParNoteFlag = 24;

struct ParLayout {
  std::size_t Bytes;
  bool LongFields;  // rate as a double, a slot as 32 bits
  std::size_t Rate;
  std::size_t Recorded;
  std::size_t Gains;
};

constexpr ParLayout ParShort = {223, false, 91, 95, 159};
constexpr ParLayout ParLong = {341, true, 109, 117, 277};
constexpr ParLayout ParFull = {ParFullBytes, false, 91, 95, 159};

const ParLayout* FindLayout(const TextTools& texts, const HeaderView& head) {
  const String mark = texts.TextFromBytes(head.Bytes(ParMark, ParMarkBytes));
  if (mark == u"7859525") return &ParFull;
  if (mark == u"1618190") return head.Int8(ParVariant) == 'A' ? &ParLong : &ParShort;
  return nullptr;
}

bool IsRecorded(const ParLayout& layout, const HeaderView& header, std::size_t slot) {
  return header.Int8(layout.Recorded + slot * (layout.LongFields ? 4 : 1)) != 0;
}

void FillScale(const HeaderView& header, std::size_t slot, Single& scale, Single& offset) {
  const auto field = [&](std::size_t table) {
    return header.Real64(table + slot * sizeof(Double));
  };
  const auto divides = [](Double factor) { return factor != 0 && factor != 1; };
  if (divides(field(ParFactor1))) {
    if (field(ParShift1) != 0) offset = static_cast<Single>(field(ParShift1) / scale);
    scale = static_cast<Single>(scale / field(ParFactor1));
  }
  if (divides(field(ParFactor2))) scale = static_cast<Single>(scale / field(ParFactor2));
  if (field(ParShift2) != 0) offset = static_cast<Single>(offset + field(ParShift2));
}

void FillChannels(ImportState& state, const ParLayout& layout, const HeaderView& header,
                  BlockRec& block) {
  std::vector<Integer> slots;
  for (std::size_t slot = 0; slot < ParSlots; ++slot) {
    if (IsRecorded(layout, header, slot)) slots.push_back(static_cast<Integer>(slot));
    state.Channels[slot].ChannelTitle.clear();
    state.Channels[slot].ChannelUnitName.clear();
  }
  if (slots.empty()) throw std::domain_error("no channel is recorded");
  block.DimensionChannels(static_cast<Integer>(slots.size()));
  block.ChannelIndex = slots;
  for (std::size_t k = 0; k < slots.size(); ++k) {
    const auto slot = static_cast<std::size_t>(slots[k]);
    block.ChannelScale[k] = AdcScale(block.ADCName, header.Int8(layout.Gains + slot));
    if (&layout == &ParFull) FillScale(header, slot, block.ChannelScale[k], block.ChannelOffset[k]);
    if (std::isnan(block.ChannelScale[k])) throw std::domain_error("a scale is no number");
  }
}

// The record in hand, which what the file still holds is read over.
class ParNote {
 public:
  /// False when nothing more came: this record counts again for good.
  bool Read(BinaryFile& file, const TextTools& texts) {
    const bool head = file.ReadOver(head_) > 0;
    const bool text = HasText() && file.ReadOver(text_) > 0;
    if (text) textRead_ = FixedText(texts, text_);
    return head || text;
  }
  Long Step() const { return HeaderView(head_).Int32(ParNoteStep); }
  bool HasText() const { return HeaderView(head_).Int8(ParNoteFlag) > 0; }
  String Text() const { return HasText() ? textRead_ : String(); }

 private:
  std::array<Byte, ParNoteHeadBytes> head_{};
  std::array<Byte, ParNoteTextBytes> text_{};
  String textRead_;
};

void ReadNotes(ImportState& state, BinaryFile& file, BlockRec& block) {
  file.Seek(ParFullBytes);
  const auto count = file.ReadValue<Long>();
  std::int64_t position = 0;
  ParNote note;
  for (Long i = 0; i < count; ++i) {
    const bool repeated = !note.Read(file, state.Texts);
    if (i == 0) {
      if (note.HasText()) block.Title = note.Text();
    } else {
      block.Comments.push_back({HeldAsLong(position + 1), 0, note.Text()});
      block.CommentCount = i;
    }
    const std::int64_t step = note.Step();
    if (step <= 0) return;
    if (repeated && i > 0) {
      // All that follow are this one, a step apart, until the samples or the count end.
      const std::int64_t fitting = (block.SizeChannel - position + step - 1) / step;
      block.CommentCount += HeldAsLong(std::min<std::int64_t>(count - 1 - i, fitting - 1));
      block.RepeatedCommentStep = HeldAsLong(step);
      return;
    }
    position += step;
    if (position >= block.SizeChannel) return;
  }
}

void FillBlock(ImportState& state, BinaryFile& file, const ParLayout& layout, BlockRec& block) {
  std::vector<Byte> bytes(layout.Bytes);
  file.Seek(0);
  file.ReadByteArray(bytes.data(), static_cast<std::int64_t>(bytes.size()));
  const HeaderView header(bytes);
  block.ADCName = FixedText(state.Texts, header.Bytes(ParModel, ParModelBytes));
  block.Resolution = AdcResolution(block.ADCName);
  const Single rate = layout.LongFields ? static_cast<Single>(header.Real64(layout.Rate))
                                        : header.Real32(layout.Rate);
  block.SamplingRate = rate * 1000;
  if (!std::isfinite(block.SamplingRate)) throw std::domain_error("the rate is no number");
  FillChannels(state, layout, header, block);
  block.FillFrom(state.DataFile->Size());
  block.StartDateTime = state.DataFile->FileDateTime();
  if (&layout == &ParFull && header.Int8(ParVersion) >= '3') ReadNotes(state, file, block);
}

}  // namespace

bool ReadParFile(ImportState& state, const String& Path, BlockRec& Block) {
  BinaryFile file(state.Texts);
  if (!file.Open(Path, true, OrdinaryFile, ShareReading)) return false;
  return ReadSidecar(Path, [&] {
    if (file.Size() < ParSmallestFile) return false;
    std::array<Byte, ParHeadBytes> head{};
    file.ReadByteArray(head.data(), ParHeadBytes);
    const ParLayout* layout = FindLayout(state.Texts, HeaderView(head));
    if (layout == nullptr) return false;
    FillBlock(state, file, *layout, Block);
    return true;
  });
}

}  // namespace lmimport
