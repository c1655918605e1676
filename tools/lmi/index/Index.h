// The index of recordings: an SQLite database that a second run brings up to date.
#pragma once

#include <filesystem>
#include <memory>
#include <stdexcept>
#include <unordered_map>

#include "index/RecordingRow.h"

struct sqlite3;

namespace lmi {

/// What SQLite or the file system says, with the name of the index.
class IndexError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// By what a file that hasn't changed is known.
struct FileState {
  std::int64_t Size = -1;
  std::int64_t ModifiedNs = 0;
  std::string Fingerprint;

  bool operator==(const FileState&) const = default;
};

/// One process's hold on an index. Others may read and write it at the same time: what is written
/// between Begin and Commit comes there as a whole, or, when the process ends before, not at all.
class Index {
 public:
  /// Opens the index, or makes it. Throws IndexError, also for a database that is something else
  /// or that a later version made.
  explicit Index(const std::filesystem::path& file);
  ~Index();
  Index(const Index&) = delete;
  Index& operator=(const Index&) = delete;

  /// A file as the index knows it. Row is nothing where it is no recording.
  struct Entry {
    FileState State;
    std::optional<RecordingRow> Row;
  };

  /// All entries, by absolute path.
  std::unordered_map<std::string, Entry> Load() const;

  void Begin();
  void Commit();

  /// What the index keeps of a recording beside its row.
  struct Contents {
    std::vector<lmimport::Block> Blocks;
    std::vector<lmimport::Comment> Comments;
    std::vector<lmimport::Finding> Findings;
  };

  /// Takes the place of what was known of the file.
  void Put(const std::string& path, const FileState& state, const RecordingRow& row,
           const Contents& contents);
  void PutOther(const std::string& path, const FileState& state);
  void Remove(const std::string& path);

 private:
  class Statement;
  void Run(const char* sql) const;
  void Make();
  bool IsOurs() const;
  Statement& Prepared(std::unique_ptr<Statement>& statement, const char* sql);
  void PutBlocks(std::int64_t id, const std::vector<lmimport::Block>& blocks);
  void PutComments(std::int64_t id, const std::vector<lmimport::Comment>& comments);
  void PutFindings(std::int64_t id, const std::vector<lmimport::Finding>& findings);
  [[noreturn]] void Fail() const;

  std::string name_;
  sqlite3* database_ = nullptr;
  std::unique_ptr<Statement> putRecording_;
  std::unique_ptr<Statement> putBlock_;
  std::unique_ptr<Statement> putChannel_;
  std::unique_ptr<Statement> putComment_;
  std::unique_ptr<Statement> putFinding_;
  std::unique_ptr<Statement> putOther_;
  std::unique_ptr<Statement> removals_[2];
};

}  // namespace lmi
