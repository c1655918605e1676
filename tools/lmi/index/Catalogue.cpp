#include "index/Catalogue.h"

#include <fmt/core.h>
#include <sys/stat.h>

#include <algorithm>
#include <atomic>
#include <thread>
#include <unordered_set>

#include "output/Interrupt.h"

namespace lmi {
namespace {

using namespace lmimport;
namespace fs = std::filesystem;

constexpr std::size_t BatchFiles = 128;  // that are opened before their rows go on
// One change of the index; each waits for the disk. Also ended by so many blocks and comments.
constexpr std::size_t ChangeFiles = 2000, ChangeRecords = 100'000;

// Names of the sidecars that a recording may have, with "NAME" for its own without the ending.
std::vector<std::string> SidecarPatterns() {
  std::vector<std::string> patterns;
  for (const FormatDescription& format : KnownFormats()) {
    std::string_view rest = format.Sidecars;
    for (std::size_t start = 0; (start = rest.find("NAME")) != std::string_view::npos;) {
      const std::size_t end = std::min(rest.find_first_of(" ,;", start), rest.size());
      patterns.emplace_back(rest.substr(start + 4, end - start - 4));
      rest.remove_prefix(end);
    }
  }
  return patterns;
}

bool Stat(const std::string& path, FileState& state) {
  struct stat found {};
  if (::stat(path.c_str(), &found) != 0) return false;
  constexpr std::int64_t nanoseconds = 1'000'000'000;
  state.Size = found.st_size;
  state.ModifiedNs = found.st_mtim.tv_sec * nanoseconds + found.st_mtim.tv_nsec;
  return true;
}

// Knows files by size, date, sidecars, and how they would be opened.
class StateReader {
 public:
  explicit StateReader(const OpenSettings& settings)
      : settings_(settings), patterns_(SidecarPatterns()) {}

  FileState StateOf(const NamedFile& file) const {
    FileState state;
    state.Fingerprint =
        fmt::format("{} {}", settings_.AsWritten ? "written" : "published", settings_.CodePage);
    // A named file that nothing describes is raw data, of the channels and rate that are told.
    if (!file.InFolder)
      state.Fingerprint += fmt::format(" {} {}", settings_.Channels, settings_.Rate);
    if (!Stat(file.Name, state)) return state;
    const std::size_t dot = file.Name.rfind('.');
    const std::size_t slash = file.Name.rfind('/');
    if (dot == std::string::npos || (slash != std::string::npos && dot < slash)) return state;
    for (const std::string& pattern : patterns_) {
      FileState sidecar;
      if (Stat(file.Name.substr(0, dot) + pattern, sidecar))
        state.Fingerprint += fmt::format(" {} {} {}", pattern, sidecar.Size, sidecar.ModifiedNs);
    }
    return state;
  }

 private:
  const OpenSettings& settings_;
  const std::vector<std::string> patterns_;
};

struct Job {
  const NamedFile* File;
  std::string Path;  // absolute
  FileState State;
  const Index::Entry* Known = nullptr;
  bool IsOther = false;  // no recording
  RecordingRow Row = {};
  Index::Contents Contents = {};
};

void Open(Job& job, const OpenSettings& settings, bool keepContents) {
  Opened opened = OpenOrExplain(settings, *job.File, [](double) { return !IsInterrupted(); });
  job.Row = RecordingRow::Of(job.File->Name, opened);
  job.Row.Size = job.State.Size;
  job.Row.ModifiedNs = job.State.ModifiedNs;
  job.IsOther = IsPassedOver(*job.File, opened);
  if (opened.BySystem) job.State.Size = -1;  // the next run tries again
  if (!keepContents) return;
  if (opened) job.Contents = {opened.Recording->Blocks(), {}, {}};
  if (!job.Row.Format.empty()) job.Contents.Comments = opened.Recording->Comments();
  job.Contents.Findings = std::move(opened.Findings);
}

// The jobs that nothing is known of, on all processors.
std::size_t OpenAll(std::vector<Job>& jobs, const OpenSettings& settings, bool keepContents) {
  std::atomic<std::size_t> next = 0;
  std::atomic<std::size_t> opened = 0;
  const auto work = [&] {
    for (std::size_t i = 0; (i = next++) < jobs.size() && !IsInterrupted();) {
      if (jobs[i].Known != nullptr) continue;
      Open(jobs[i], settings, keepContents);
      ++opened;
    }
  };
  const auto unknown = static_cast<std::size_t>(std::ranges::count(jobs, nullptr, &Job::Known));
  const std::size_t wanted = std::min<std::size_t>(std::thread::hardware_concurrency(), unknown);
  std::vector<std::jthread> helpers;
  for (std::size_t i = 1; i < wanted; ++i) helpers.emplace_back(work);
  work();
  helpers.clear();
  return opened;
}

// Changes of an index, gathered.
class Changes {
 public:
  explicit Changes(Index* index) : index_(index) {}

  void Add(Job&& job) {
    if (index_ == nullptr) return;
    records_ += job.Contents.Blocks.size() + job.Contents.Comments.size();
    jobs_.push_back(std::move(job));
    if (jobs_.size() >= ChangeFiles || records_ >= ChangeRecords) Make();
  }

  void Make() {
    if (jobs_.empty()) return;
    index_->Begin();
    for (const Job& job : jobs_) {
      if (job.IsOther)
        index_->PutOther(job.Path, job.State);
      else
        index_->Put(job.Path, job.State, job.Row, job.Contents);
    }
    index_->Commit();
    jobs_.clear();
    records_ = 0;
  }

 private:
  Index* index_;
  std::vector<Job> jobs_;
  std::size_t records_ = 0;
};

std::string Absolute(const std::string& name, const fs::path& folder) {
  return (folder / name).lexically_normal().string();
}

// What the index knows in the folders that were gone through, or of files that were named, and
// isn't there.
void RemoveGone(Index& index, const std::unordered_map<std::string, Index::Entry>& known,
                const std::unordered_set<std::string>& found, const std::vector<std::string>& names,
                const fs::path& folder) {
  std::vector<std::string> gone;
  for (const auto& [path, entry] : known) {
    const auto isUnder = [&](const std::string& name) {
      std::string root = Absolute(name, folder);
      if (path == root) return true;
      if (!root.ends_with('/')) root += '/';
      return path.starts_with(root);
    };
    if (!found.contains(path) && std::ranges::any_of(names, isUnder)) gone.push_back(path);
  }
  if (gone.empty()) return;
  index.Begin();
  for (const std::string& path : gone) index.Remove(path);
  index.Commit();
}

}  // namespace

CatalogueCounts MakeCatalogue(const std::vector<NamedFile>& files,
                              const std::vector<std::string>& names, const OpenSettings& settings,
                              Index* index, ProgressLine& progress,
                              const std::function<void(RecordingRow&&)>& take) {
  CatalogueCounts counts;
  const StateReader states(settings);
  const fs::path folder = fs::current_path();
  std::unordered_map<std::string, Index::Entry> known;
  if (index != nullptr) known = index->Load();
  std::unordered_set<std::string> found;
  Changes changes(index);
  for (std::size_t first = 0; first < files.size() && !IsInterrupted(); first += BatchFiles) {
    std::vector<Job> jobs;
    for (std::size_t i = first; i < std::min(first + BatchFiles, files.size()); ++i) {
      Job& job = jobs.emplace_back(
          Job{&files[i], Absolute(files[i].Name, folder), states.StateOf(files[i])});
      const auto entry = known.find(job.Path);
      if (entry != known.end() && entry->second.State == job.State) job.Known = &entry->second;
      if (index != nullptr) found.insert(job.Path);
    }
    counts.Opened += OpenAll(jobs, settings, index != nullptr);
    if (IsInterrupted()) break;
    for (Job& job : jobs) {
      if (job.Known != nullptr) job.IsOther = !job.Known->Row;
      counts.PassedOver += job.IsOther ? 1 : 0;
      if (!job.IsOther) {
        RecordingRow row = job.Known != nullptr ? *job.Known->Row : job.Row;
        row.Path = job.File->Name;
        take(std::move(row));
      }
      if (job.Known == nullptr) changes.Add(std::move(job));
    }
    progress.Show(static_cast<double>(first + jobs.size()) / static_cast<double>(files.size()));
  }
  changes.Make();
  if (index != nullptr && !IsInterrupted()) RemoveGone(*index, known, found, names, folder);
  return counts;
}

}  // namespace lmi
