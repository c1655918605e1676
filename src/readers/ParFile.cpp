// ".par" parameter files. Little-endian, nothing is aligned.
//
//   offset  type       field
//        0  char       version; "3" and above have comments after the full layout
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
// A file that ends early is filled with zeros up to its layout. Past its end, the current comment
// record is reused.
#include <cmath>

#include "model/HeaderView.h"
#include "readers/AdcTables.h"
#include "readers/Sidecars.h"

namespace lmimport {
namespace {

constexpr std::int64_t ParSmallestFile = 223;
constexpr std::size_t ParFullBytes = 17131, ParSlots = 32, ParNoteHeadBytes = 25,
                      ParNoteTextBytes = 256;

constexpr Field<Byte> ParVersion{0}, ParVariant{16};
constexpr TextField ParMark{8, 7}, ParModel{20, 17};
// by slot
constexpr Field<Double> ParFactor1{235}, ParShift1{491}, ParShift2{747}, ParFactor2{8939};
// of a comment record
constexpr Field<Long> ParNoteStep{0};
constexpr Field<Byte> ParNoteFlag{24};
constexpr TextField ParNoteText{0, ParNoteTextBytes};

struct ParLayout {
  std::size_t Bytes;
  bool LongFields;  // rate as a double, a slot as 32 bits
  std::size_t Rate;
  std::size_t Recorded;
  Field<Byte> Gains;
};

constexpr ParLayout ParShort = {223, false, 91, 95, {159}};
constexpr ParLayout ParLong = {341, true, 109, 117, {277}};
constexpr ParLayout ParFull = {ParFullBytes, false, 91, 95, {159}};

const ParLayout* FindLayout(const HeaderView& header) {
  const String mark = header.Untrimmed(ParMark);
  if (mark == u"7859525") return &ParFull;
  if (mark == u"1618190") return header[ParVariant] == 'A' ? &ParLong : &ParShort;
  return nullptr;
}

bool IsRecorded(const ParLayout& layout, const HeaderView& header, std::size_t slot) {
  return header[Field<Byte>{layout.Recorded + slot * (layout.LongFields ? 4 : 1)}] != 0;
}

// Numbers that a scale is divided by.
bool Divides(Double factor) {
  return factor != 0 && factor != 1;
}

void FillScale(const HeaderView& header, std::size_t slot, Single& scale, Single& offset) {
  const Double factor1 = header[ParFactor1(slot)];
  const Double factor2 = header[ParFactor2(slot)];
  const Double shift1 = header[ParShift1(slot)];
  const Double shift2 = header[ParShift2(slot)];
  if (Divides(factor1)) {
    if (shift1 != 0) offset = Narrowed(shift1 / scale, "offset by shift 1");
    scale = Narrowed(scale / factor1, "counts per unit by factor 1");
  }
  if (Divides(factor2)) scale = Narrowed(scale / factor2, "counts per unit by factor 2");
  if (shift2 != 0) offset = Narrowed(offset + shift2, "offset by shift 2");
}

// In the order of FillScale.
void TellChannel(Opening& opening, const ParLayout& layout, const HeaderView& header,
                 std::size_t slot, std::size_t channel, Single boardScale) {
  if (!opening.Rules.KeepsFields) return;
  const Place place = Place::OfChannel(-1, channel);
  opening.Tell(header, layout.Gains(slot), "gain code", "gain of the converter", place);
  opening.Tell(place, "board scale", boardScale, "counts per unit of the model at that gain code");
  std::string scale = "board scale";
  std::string offset;
  if (&layout == &ParFull) {
    const auto tell = [&](Field<Double> field, std::string_view name, std::string_view meaning) {
      opening.Tell(header, field(slot), name, meaning, place);
      return header[field(slot)];
    };
    const bool divides1 =
        Divides(tell(ParFactor1, "factor 1", "divides the scale, unless it is 0 or 1"));
    if (tell(ParShift1, "shift 1", "counts at 0 units; used where factor 1 divides") != 0 &&
        divides1)
      offset = "single(shift 1 / board scale)";
    if (divides1) scale = "single(board scale / factor 1)";
    if (Divides(tell(ParFactor2, "factor 2", "divides the scale, unless it is 0 or 1")))
      scale = Sentence("single(", scale, " / factor 2)");
    if (tell(ParShift2, "shift 2", "units at count 0") != 0)
      offset = offset.empty() ? "single(shift 2)" : Sentence("single(", offset, " + shift 2)");
  }
  opening.TellFormula(Sentence("count / ", scale, offset.empty() ? "" : " + ", offset), place);
}

void FillChannels(Opening& opening, const ParLayout& layout, const HeaderView& header,
                  BlockRec& block) {
  std::vector<Integer> slots;
  for (std::size_t slot = 0; slot < ParSlots; ++slot) {
    if (IsRecorded(layout, header, slot)) slots.push_back(static_cast<Integer>(slot));
    opening.Store.Channel(slot).ChannelTitle.clear();
    opening.Store.Channel(slot).ChannelUnitName.clear();
  }
  if (slots.empty()) Refuse(Refusal::DomainFault, "channel-count", -1, "no channel is recorded");
  block.DimensionChannels(static_cast<Integer>(slots.size()));
  block.ChannelIndex = slots;
  for (std::size_t k = 0; k < slots.size(); ++k) {
    const auto slot = static_cast<std::size_t>(slots[k]);
    block.ChannelScale[k] = AdcScale(block.ADCName, header[layout.Gains(slot)]);
    TellChannel(opening, layout, header, slot, k, block.ChannelScale[k]);
    if (&layout == &ParFull) FillScale(header, slot, block.ChannelScale[k], block.ChannelOffset[k]);
    if (std::isnan(block.ChannelScale[k]))
      Refuse(Refusal::DomainFault, "damaged", -1, "a scale is no number");
  }
}

// The current record; what the file still holds is read over it.
class ParNote {
 public:
  explicit ParNote(const TextTools& texts) : head_(texts), text_(texts) {}

  /// False when nothing more came: this record is reused for good.
  bool Read(BinaryFile& file) {
    const bool head = head_.ReadOver(file) > 0;
    const bool text = HasText() && text_.ReadOver(file) > 0;
    return head || text;
  }
  Long Step() const { return head_[ParNoteStep]; }
  bool HasText() const { return head_[ParNoteFlag] > 0; }
  String Text() const { return HasText() ? text_[ParNoteText] : String(); }

 private:
  Header<ParNoteHeadBytes> head_;
  Header<ParNoteTextBytes> text_;
};

void ReadNotes(Opening& opening, BinaryFile& file, BlockRec& block) {
  file.Seek(ParFullBytes);
  const auto count = file.ReadValue<Long>();
  std::int64_t position = 0;
  ParNote note(opening.Texts);
  for (Long i = 0; i < count; ++i) {
    const bool repeated = !note.Read(file);
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
      opening.Note("comments-cut", {-1, 0}, "The parameter file claims ", count - 1,
                   " comments, and holds ", i - 1,
                   "; the last one is repeated for all that are missing.");
      return;
    }
    position += step;
    if (position >= block.SizeChannel) return;
  }
}

void FillBlock(Opening& opening, BinaryFile& file, const ParLayout& layout,
               const HeaderView& header, BlockRec& block) {
  block.ADCName = header[ParModel];
  block.Resolution = AdcResolution(block.ADCName);
  const Single rate = layout.LongFields
                          ? Narrowed(header[Field<Double>{layout.Rate}], "rate in kHz")
                          : header[Field<Single>{layout.Rate}];
  block.SamplingRate = Narrowed(Double{rate} * 1000, "rate in Hz");
  if (!std::isfinite(block.SamplingRate))
    Refuse(Refusal::DomainFault, "damaged", -1, "the rate is no number");
  opening.Tell(-1, "rate", rate, "rate in kHz");
  opening.Tell(header, ParModel, "model", "converter, whose scale is known by its name", -1);
  FillChannels(opening, layout, header, block);
  block.FillFrom(opening.DataFile.Size());
  block.StartDateTime = opening.DateOfFile();
  if (&layout == &ParFull && header[ParVersion] >= '3') ReadNotes(opening, file, block);
}

}  // namespace

bool ReadParFile(Opening& opening, BinaryFile& sidecar, BlockRec& Block) {
  if (sidecar.Size() < ParSmallestFile) return false;
  std::vector<Byte> bytes(ParFullBytes);
  const HeaderView header(bytes, opening.Texts);
  sidecar.ReadByteArray(bytes.data(), ParSmallestFile);
  const ParLayout* layout = FindLayout(header);
  if (layout == nullptr) return false;
  sidecar.ReadByteArray(bytes.data() + ParSmallestFile,
                        static_cast<std::int64_t>(layout->Bytes) - ParSmallestFile);
  FillBlock(opening, sidecar, *layout, header, Block);
  return true;
}

}  // namespace lmimport
