#include "export/ExportTask.h"

#include <algorithm>
#include <cmath>

#include "output/Interrupt.h"
#include "output/Text.h"
#include "recordings/OpenSettings.h"

namespace lmi {

using namespace lmimport;
namespace fs = std::filesystem;

std::string ExportPlaces::KeyOf(const fs::path& path) {
  std::error_code error;
  const fs::path whole = fs::weakly_canonical(fs::absolute(path, error), error);
  return error ? path.lexically_normal().string() : whole.string();
}

fs::path ExportPlaces::Take(const fs::path& path) {
  fs::path free = path;
  for (int number = 2; IsTaken(free); ++number) {
    free = path.parent_path() /
           fmt::format("{}-{}{}", path.stem().string(), number, path.extension().string());
  }
  Reserve(free);
  return free;
}

ExportTask::ExportTask(const lmimport::Recording& recording, std::vector<Part> parts,
                       const ExportOptions& options, fs::path place, ExportPlaces& places,
                       ProgressLine& progress)
    : recording_(recording),
      parts_(std::move(parts)),
      options_(options),
      place_(std::move(place)),
      places_(places),
      progress_(progress) {
  for (const Part& part : parts_) total_ += part.Frames() * std::ssize(part.Channels);
}

double ExportTask::StartOf(const Part& part) const {
  const Block& block = BlockOf(part);
  const double within = static_cast<double>(part.First) / block.SamplingRate;
  return part.First > 0 && std::isfinite(within) ? block.StartTime + within : block.StartTime;
}

const std::vector<const Comment*>& ExportTask::CommentsOf(const Part& part) {
  if (comments_.empty()) comments_ = lmi::CommentsOf(recording_, parts_);
  return comments_[static_cast<std::size_t>(&part - parts_.data())];
}

ChannelColumns ExportTask::ChannelsOf(const Part& part) const {
  ChannelColumns columns;
  for (const std::size_t c : part.Channels) {
    const Channel& channel = BlockOf(part).Channels[c];
    columns.Titles.push_back(channel.Title);
    columns.Units.push_back(channel.Unit);
    columns.Factors.push_back(channel.Factor);
    columns.Offsets.push_back(channel.Offset);
  }
  return columns;
}

CommentColumns ExportTask::Comments() {
  CommentColumns columns;
  for (const Part& part : parts_) {
    for (const Comment* comment : CommentsOf(part)) {
      columns.Times.push_back(comment->Time);
      columns.Durations.push_back(comment->Duration);
      columns.Blocks.push_back(static_cast<std::int32_t>(part.Block + 1));
      columns.Texts.push_back(comment->Text);
    }
  }
  return columns;
}

const NewFile& ExportTask::FileAt(const fs::path& place) {
  CheckOutput(recording_, place);
  files_.push_back(std::make_unique<NewFile>(place));
  return *files_.back();
}

const NewFile& ExportTask::File() {
  return FileAt(place_);
}

const NewFile& ExportTask::FileOf(const Part& part) {
  if (files_.empty()) return File();
  const auto nameOf = [&](std::string_view block) {
    return fmt::format("{}-block{}{}", place_.stem().string(), block, place_.extension().string());
  };
  const fs::path wanted = place_.parent_path() / nameOf(fmt::format("{}", part.Block + 1));
  const fs::path place = places_.Take(wanted);
  if (place == wanted)
    Say(fmt::format("further blocks are in \"{}\"", nameOf("N")));
  else
    Say(fmt::format("block {} is in \"{}\"", part.Block + 1, place.filename().string()));
  return FileAt(place);
}

void ExportTask::Say(std::string note) {
  if (std::ranges::count(said_, note) == 0) said_.push_back(std::move(note));
}

void ExportTask::Advance(std::int64_t samples) {
  if (IsInterrupted()) throw ExportInterrupted();
  done_ += samples;
  progress_.Show(static_cast<double>(done_) /
                 static_cast<double>(std::max<std::int64_t>(total_, 1)));
}

void ExportTask::Commit() {
  if (IsInterrupted()) throw ExportInterrupted();
  for (const auto& file : files_) file->Commit();
}

SampleKind KindOf(const ExportTask& task, const Block& block) {
  constexpr int wordBits = 16;
  constexpr int singleBits = 32;
  const std::string& as = task.Options().As;
  // Counts of real numbers say no value.
  if (as == "integer" && !block.RealSamples)
    return block.SampleBits <= wordBits ? SampleKind::Word : SampleKind::Long;
  if (as == "single") return SampleKind::Single;
  const auto isPlain = [](const Channel& channel) {
    return channel.Factor == 1 && channel.Offset == 0;
  };
  const bool isSingle = block.RealSamples && block.SampleBits == singleBits &&
                        std::ranges::all_of(block.Channels, isPlain);
  return isSingle && as != "double" ? SampleKind::Single : SampleKind::Double;
}

Extremes ExtremesOf(const ExportTask& task, const Part& part, std::size_t channel) {
  // In pieces, so that an interrupt is seen.
  constexpr std::int64_t pieceFrames = 1 << 22;
  Extremes all{NAN, NAN};
  for (std::int64_t first = part.First; first < part.End; first += pieceFrames) {
    if (IsInterrupted()) throw ExportInterrupted();
    Extremes piece{NAN, NAN};
    task.Recording().Overview(part.Block, channel, first, std::min(pieceFrames, part.End - first),
                              std::span(&piece, 1));
    all = {std::fmin(all.Smallest, piece.Smallest), std::fmax(all.Largest, piece.Largest)};
  }
  return std::isnan(all.Smallest) ? Extremes{0, 0} : all;
}

}  // namespace lmi
