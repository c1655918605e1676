// One recording on its way into files of another format.
#pragma once

#include <filesystem>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "output/Output.h"
#include "output/ProgressLine.h"
#include "recordings/Samples.h"

namespace lmi {

struct ExportOptions {
  std::string As;    // "integer" (counts), "single", "double"; empty: values as exact as they are
  std::string Bits;  // of a wave file: "16", "24", "float"; empty: those that keep the samples
  int CodePage = 0;  // of 8-bit texts; 0: the first that has all characters
};

struct ExportInterrupted {};  // the user has had enough; no fault, and nothing is left half done

/// The names that a run reads and writes: none is written twice, or over a recording that is read.
class ExportPlaces {
 public:
  void Reserve(const std::filesystem::path& path) { taken_.insert(KeyOf(path)); }
  bool IsTaken(const std::filesystem::path& path) const { return taken_.contains(KeyOf(path)); }

  /// The path, or "NAME-2.ending" and so on where it is taken; taken from now on.
  std::filesystem::path Take(const std::filesystem::path& path);

 private:
  static std::string KeyOf(const std::filesystem::path& path);
  std::set<std::string> taken_;
};

/// What describes the channels of a part, an element each.
struct ChannelColumns {
  std::vector<std::string> Titles, Units;
  std::vector<double> Factors, Offsets;
};

/// The comments of all parts, an element each; blocks count from 1.
struct CommentColumns {
  std::vector<double> Times, Durations;
  std::vector<std::int32_t> Blocks;
  std::vector<std::string> Texts;
};

class ExportTask {
 public:
  ExportTask(const lmimport::Recording& recording, std::vector<Part> parts,
             const ExportOptions& options, std::filesystem::path place, ExportPlaces& places,
             ProgressLine& progress);

  const lmimport::Recording& Recording() const { return recording_; }
  const std::vector<Part>& Parts() const { return parts_; }
  const ExportOptions& Options() const { return options_; }
  ProgressLine& Progress() { return progress_; }
  const lmimport::Block& BlockOf(const Part& part) const { return recording_.Blocks()[part.Block]; }
  /// Seconds from the start of the recording to the part's first frame.
  double StartOf(const Part& part) const;

  /// Those that go with the part, one of Parts(), by time.
  const std::vector<const lmimport::Comment*>& CommentsOf(const Part& part);

  ChannelColumns ChannelsOf(const Part& part) const;
  CommentColumns Comments();

  /// The file of the recording; for the second and later ones of a format that holds one block,
  /// that of this part's block.
  const NewFile& File();
  const NewFile& FileOf(const Part& part);
  const NewFile& FileAt(const std::filesystem::path& place);

  /// What the user should know; all of it is one line in the end.
  void Say(std::string note);
  const std::vector<std::string>& Said() const { return said_; }

  /// So many samples more are done. Throws ExportInterrupted.
  void Advance(std::int64_t samples);

  /// All files, now that they are whole.
  void Commit();

 private:
  const lmimport::Recording& recording_;
  std::vector<Part> parts_;
  const ExportOptions& options_;
  std::filesystem::path place_;
  ExportPlaces& places_;
  ProgressLine& progress_;
  std::vector<std::unique_ptr<NewFile>> files_;
  std::vector<std::string> said_;
  std::vector<std::vector<const lmimport::Comment*>> comments_;  // of each part
  std::int64_t done_ = 0;
  std::int64_t total_ = 0;
};

/// Counts as they are stored, or values: Singles where the file has those.
enum class SampleKind { Word, Long, Single, Double };
SampleKind KindOf(const ExportTask& task, const lmimport::Block& block);

/// Calls work(T()) with the type of the kind.
template <class Work>
void WithKind(SampleKind kind, Work work) {
  if (kind == SampleKind::Word) return work(std::int16_t());
  if (kind == SampleKind::Long) return work(std::int32_t());
  if (kind == SampleKind::Single) return work(float());
  work(double());
}

/// Calls use(samples, frames) with the frames of the part, piece after piece. Headers have promised
/// all of them: throws std::runtime_error where the recording has fewer.
template <class T, class Use>
void ForEachPiece(ExportTask& task, const Part& part, Use use) {
  FrameReader<T> reader(task.Recording(), part);
  std::int64_t left = part.Frames();
  for (;;) {
    const std::span<const T> samples = reader.Next();
    if (samples.empty()) break;
    const std::size_t frames = samples.size() / reader.Channels();
    left -= static_cast<std::int64_t>(frames);
    use(samples, frames);
    task.Advance(static_cast<std::int64_t>(samples.size()));
  }
  if (left > 0) throw std::runtime_error("the recording ends before its last frame");
}

/// Smallest and largest value of a channel in a part; both 0 where there is none.
lmimport::Extremes ExtremesOf(const ExportTask& task, const Part& part, std::size_t channel);

}  // namespace lmi
