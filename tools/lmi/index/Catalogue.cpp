#include "index/Catalogue.h"

#include <fmt/core.h>
#include <lmimport/Version.h>
#include <sys/stat.h>

#include <algorithm>
#include <atomic>
#include <cctype>
#include <cstdlib>
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

// Ends of the names of sidecars that a recording may have, after its own name without the last four
// characters; a name in capitals counts, too.
std::vector<std::string> SidecarEndings() {
  std::vector<std::string> endings;
  for (const FormatDescription& format : KnownFormats()) {
    std::string_view rest = format.Sidecars;
    for (std::size_t start = 0; (start = rest.find("NAME")) != std::string_view::npos;) {
      const std::size_t end = std::min(rest.find_first_of(" ,;", start), rest.size());
      std::string ending(rest.substr(start + 4, end - start - 4));
      endings.push_back(ending);
      std::ranges::transform(ending, ending.begin(), [](char c) { return std::toupper(c); });
      endings.push_back(std::move(ending));
      rest.remove_prefix(end);
    }
  }
  return endings;
}

// What the system's language has 8-bit texts read by, where no code page is said.
std::string LanguageOfTexts() {
  for (const char* const name : {"LC_ALL", "LC_CTYPE", "LANG"}) {
    const char* const value = std::getenv(name);
    if (value != nullptr && *value != '\0') return value;
  }
  return "C";
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
      : endings_(SidecarEndings()),
        // Another version may read more of a file.
        how_(fmt::format(
            "{} {} {}", LMIMPORT_VERSION, settings.AsWritten ? "written" : "published",
            settings.CodePage == 0 ? LanguageOfTexts() : std::to_string(settings.CodePage))),
        raw_(fmt::format(" {} {}", settings.Channels, settings.Rate)) {}

  FileState StateOf(const NamedFile& file, const std::string& path) {
    FileState state;
    state.Fingerprint = how_;
    // A named file that nothing describes is raw data, of the channels and rate that are told.
    if (!file.InFolder) state.Fingerprint += raw_;
    if (!Stat(path, state)) return state;
    const std::string base = path.substr(0, path.size() - std::min<std::size_t>(path.size(), 4));
    LookInto(fs::path(path).parent_path());
    for (const std::string& ending : endings_) {
      FileState sidecar;
      const std::string name = base + ending;
      if (names_.contains(name.substr(name.rfind('/') + 1)) && Stat(name, sidecar))
        state.Fingerprint += fmt::format(" {} {} {}", ending, sidecar.Size, sidecar.ModifiedNs);
    }
    return state;
  }

 private:
  // What is in the folder at hand: most files have no sidecar, and asking for each costs more than
  // going through the folder once.
  void LookInto(const fs::path& folder) {
    if (folder == folder_) return;
    folder_ = folder;
    names_.clear();
    std::error_code error;
    for (fs::directory_iterator entry(folder, error), end; !error && entry != end;
         entry.increment(error))
      names_.insert(entry->path().filename().string());
  }

  fs::path folder_;
  std::unordered_set<std::string> names_;
  const std::vector<std::string> endings_;
  const std::string how_;
  const std::string raw_;
};

// The one path of a file: without links in its folders.
class PathFinder {
 public:
  std::string Find(const std::string& name) {
    const fs::path path(name);
    std::string folder = path.parent_path().string();
    const auto [place, isNew] = folders_.try_emplace(folder);
    if (isNew) {
      std::error_code error;
      place->second = fs::canonical(folder.empty() ? "." : folder, error);
      if (error) place->second = fs::absolute(folder).lexically_normal();
    }
    return (place->second / path.filename()).string();
  }

 private:
  std::unordered_map<std::string, fs::path> folders_;
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

// What the index knows in the folders that were gone through, or of files that were named, and isn't
// there. A folder that can't be read, or is empty as where a disk isn't mounted, is no reason.
void RemoveGone(Index& index, const std::unordered_map<std::string, Index::Entry>& known,
                const std::unordered_set<std::string>& found, const std::vector<NamedFile>& files,
                const std::vector<std::string>& names, PathFinder& paths) {
  std::unordered_set<std::string> roots;   // what is below them is gone where it wasn't found
  std::unordered_set<std::string> unread;  // but not below these
  for (const NamedFile& file : files) {
    if (file.InFolder && !file.Failure.empty()) unread.insert(paths.Find(file.Name));
  }
  for (const std::string& name : names) {
    std::error_code error;
    const fs::path root = fs::canonical(name, error);
    const bool hasFiles = !error && fs::is_directory(root, error) && !fs::is_empty(root, error);
    if (hasFiles) roots.insert(root.string());
  }
  std::vector<std::string> gone;
  for (const auto& [path, entry] : known) {
    if (found.contains(path)) continue;
    bool isBelow = false;
    bool isUnread = false;
    for (std::string folder = path; folder.size() > 1 && !isUnread;) {
      folder = fs::path(folder).parent_path().string();
      isBelow = isBelow || roots.contains(folder);
      isUnread = unread.contains(folder);
    }
    if (isBelow && !isUnread) gone.push_back(path);
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
  StateReader states(settings);
  PathFinder paths;
  std::unordered_map<std::string, Index::Entry> known;
  if (index != nullptr) known = index->Load();
  std::unordered_set<std::string> found;
  Changes changes(index);
  for (std::size_t first = 0; first < files.size() && !IsInterrupted(); first += BatchFiles) {
    std::vector<Job> jobs;
    for (std::size_t i = first; i < std::min(first + BatchFiles, files.size()); ++i) {
      const std::string path = paths.Find(ResolveName(settings, files[i].Name));
      Job& job = jobs.emplace_back(Job{&files[i], path, states.StateOf(files[i], path)});
      const auto entry = known.find(job.Path);
      const bool isSame = entry != known.end() && entry->second.State == job.State;
      if (isSame && job.State.Size >= 0) job.Known = &entry->second;
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
  if (index != nullptr && !IsInterrupted()) RemoveGone(*index, known, found, files, names, paths);
  return counts;
}

}  // namespace lmi
