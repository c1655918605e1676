#include "index/Index.h"

#include <fmt/core.h>
#include <lmimport/Text.h>
#include <sqlite3.h>

#include <chrono>
#include <cmath>
#include <thread>

#include "IndexSchema.h"
#include "output/Interrupt.h"
#include "output/Json.h"
#include "output/Text.h"

namespace lmi {
namespace {

using namespace lmimport;

constexpr int Application = 0x4c4d4931;
constexpr int SchemaVersion = 1;
constexpr int LongestWait = 12'000, Wait = 10;  // times, and milliseconds, for other processes

// True: to be tried again.
int WaitForOthers(void* /*unused*/, int times) {
  if (IsInterrupted() || times >= LongestWait) return 0;
  std::this_thread::sleep_for(std::chrono::milliseconds(Wait));
  return 1;
}

std::string JsonList(const auto& values) {
  auto list = nlohmann::ordered_json::array();
  for (const auto& value : values) list.push_back(value);
  return JsonText(list);
}

template <class T>
std::vector<T> ListIn(const std::string& json) {
  const auto parsed = nlohmann::json::parse(json, nullptr, false);
  std::vector<T> values;
  if (!parsed.is_array()) return values;
  for (const auto& value : parsed) {
    if constexpr (std::same_as<T, double>) {
      values.push_back(value.is_number() ? value.get<double>() : NAN);
    } else if (value.is_string()) {
      values.push_back(value.get<std::string>());
    }
  }
  return values;
}

}  // namespace

// A prepared statement, bound from left to right.
class Index::Statement {
 public:
  Statement(const Index& index, const char* sql) : index_(index) {
    if (sqlite3_prepare_v2(index.database_, sql, -1, &statement_, nullptr) != SQLITE_OK)
      index.Fail();
  }
  ~Statement() { sqlite3_finalize(statement_); }
  Statement(const Statement&) = delete;
  Statement& operator=(const Statement&) = delete;

  Statement& operator<<(std::int64_t value) {
    return Check(sqlite3_bind_int64(statement_, ++bound_, value));
  }
  Statement& operator<<(int value) { return *this << std::int64_t{value}; }
  Statement& operator<<(double value) {
    // NaN would become NULL, which a column may forbid.
    if (std::isnan(value)) return *this << std::string_view("NaN");
    return Check(sqlite3_bind_double(statement_, ++bound_, value));
  }
  Statement& operator<<(std::nullptr_t) { return Check(sqlite3_bind_null(statement_, ++bound_)); }
  /// What is no UTF-8 is replaced, or no reader could decode it.
  Statement& operator<<(std::string_view text) {
    const std::string valid = ValidUtf8(text);
    return Check(sqlite3_bind_text64(statement_, ++bound_, valid.data(), valid.size(),
                                     SQLITE_TRANSIENT, SQLITE_UTF8));
  }
  /// A path is kept byte by byte.
  Statement& Path(const std::string& path) {
    const auto isStray = [](char16_t c) { return (c & 0xff80) == 0xdc80; };
    const String wide = FromUtf8(path);
    std::size_t strays = 0;
    for (std::size_t i = 0; i < wide.size(); ++i) {
      const bool pair = i > 0 && (wide[i - 1] & 0xfc00) == 0xd800;
      strays += isStray(wide[i]) && !pair ? 1 : 0;
    }
    if (strays == 0) return *this << std::string_view(path);
    return Check(
        sqlite3_bind_blob64(statement_, ++bound_, path.data(), path.size(), SQLITE_TRANSIENT));
  }
  Statement& OrNull(const std::string& text) {
    return text.empty() ? *this << nullptr : *this << std::string_view(text);
  }

  /// True while there is a row.
  bool Step() {
    const int result = sqlite3_step(statement_);
    if (result != SQLITE_ROW && result != SQLITE_DONE) index_.Fail();
    return result == SQLITE_ROW;
  }
  /// Runs it to its end and gives the number of its one row, 0 where there is none.
  std::int64_t Run() {
    std::int64_t number = 0;
    while (Step()) number = Number(0);
    Reset();
    return number;
  }
  void Reset() {
    sqlite3_reset(statement_);
    bound_ = 0;
  }

  std::int64_t Number(int column) const { return sqlite3_column_int64(statement_, column); }
  double Real(int column) const {
    const bool none = sqlite3_column_type(statement_, column) == SQLITE_NULL;
    return none ? NAN : sqlite3_column_double(statement_, column);
  }
  std::string Text(int column) const {
    const void* const bytes = sqlite3_column_blob(statement_, column);
    const int size = sqlite3_column_bytes(statement_, column);
    return bytes == nullptr
               ? std::string()
               : std::string(static_cast<const char*>(bytes), static_cast<std::size_t>(size));
  }

 private:
  Statement& Check(int result) {
    if (result != SQLITE_OK) index_.Fail();
    return *this;
  }

  const Index& index_;
  sqlite3_stmt* statement_ = nullptr;
  int bound_ = 0;
};

void Index::Fail() const {
  throw IndexError(fmt::format("the index \"{}\": {}", name_, sqlite3_errmsg(database_)));
}

void Index::Run(const char* sql) const {
  if (sqlite3_exec(database_, sql, nullptr, nullptr, nullptr) != SQLITE_OK) Fail();
}

Index::Index(const std::filesystem::path& file) : name_(file.string()) {
  const int opened = sqlite3_open_v2(file.c_str(), &database_,
                                     SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr);
  try {
    if (opened != SQLITE_OK) Fail();
    sqlite3_busy_handler(database_, WaitForOthers, nullptr);
    Make();
    Run("PRAGMA foreign_keys = ON");
  } catch (...) {
    sqlite3_close(database_);
    throw;
  }
}

Index::~Index() {
  for (auto* const statement :
       {&putRecording_, &putBlock_, &putChannel_, &putComment_, &putFinding_, &putOther_})
    statement->reset();
  for (auto& removal : removals_) removal.reset();
  sqlite3_close(database_);
}

// The tables, where the file is new; else a look at whose they are.
void Index::Make() {
  if (IsOurs()) return;
  // Another process may make it at this moment.
  Begin();
  if (!IsOurs()) Run(IndexSchema);
  Commit();
}

// False: there is nothing yet.
bool Index::IsOurs() const {
  const std::int64_t application = Statement(*this, "PRAGMA application_id").Run();
  const std::int64_t version = Statement(*this, "PRAGMA user_version").Run();
  const std::int64_t tables = Statement(*this, "SELECT count(*) FROM sqlite_schema").Run();
  if (application == 0 && tables == 0) return false;
  if (application != Application)
    throw IndexError(fmt::format("\"{}\" is a database of something else", name_));
  if (version != SchemaVersion)
    throw IndexError(fmt::format("the index \"{}\" has version {}; this lmi knows version {}",
                                 name_, version, SchemaVersion));
  return true;
}

void Index::Begin() {
  // So that two that write wait for each other here, and not in the middle.
  Run("BEGIN IMMEDIATE");
}

void Index::Commit() {
  Run("COMMIT");
}

Index::Statement& Index::Prepared(std::unique_ptr<Statement>& statement, const char* sql) {
  if (!statement) statement = std::make_unique<Statement>(*this, sql);
  return *statement;
}

std::unordered_map<std::string, Index::Entry> Index::Load() const {
  std::unordered_map<std::string, Entry> entries;
  Statement rows(*this,
                 "SELECT path, size, modified_ns, fingerprint, format, format_name, sidecar, start,"
                 " seconds, rates, blocks, channels, titles, comments, warnings, findings, failure,"
                 " notes FROM recording");
  while (rows.Step()) {
    RecordingRow row;
    row.Path = rows.Text(0);
    row.Size = rows.Number(1);
    row.ModifiedNs = rows.Number(2);
    const FileState state{row.Size, row.ModifiedNs, rows.Text(3)};
    row.Format = rows.Text(4);
    row.FormatName = rows.Text(5);
    row.Sidecar = rows.Text(6);
    row.Start = rows.Text(7);
    row.Seconds = rows.Real(8);
    row.Rates = ListIn<double>(rows.Text(9));
    row.Blocks = rows.Number(10);
    row.Channels = rows.Number(11);
    row.Titles = ListIn<std::string>(rows.Text(12));
    row.Comments = rows.Number(13);
    row.Warnings = rows.Number(14);
    row.Findings = ListIn<std::string>(rows.Text(15));
    row.Failure = rows.Text(16);
    row.Notes = rows.Text(17);
    const std::string path = row.Path;
    entries.emplace(path, Entry{state, std::move(row)});
  }
  Statement others(*this, "SELECT path, size, modified_ns, fingerprint FROM other_file");
  while (others.Step())
    entries.emplace(others.Text(0),
                    Entry{{others.Number(1), others.Number(2), others.Text(3)}, {}});
  return entries;
}

void Index::Put(const std::string& path, const FileState& state, const RecordingRow& row,
                const Contents& contents) {
  Remove(path);
  Statement& put =
      Prepared(putRecording_,
               "INSERT INTO recording (path, size, modified_ns, fingerprint, format, format_name,"
               " sidecar, start, seconds, rates, blocks, channels, titles, comments, warnings,"
               " findings, failure, notes)"
               " VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?) RETURNING id");
  const bool isOpen = !row.Format.empty();
  put.Path(path) << state.Size << state.ModifiedNs << std::string_view(state.Fingerprint);
  put.OrNull(row.Format).OrNull(row.FormatName).OrNull(row.Sidecar).OrNull(row.Start);
  isOpen&& std::isfinite(row.Seconds) ? put << row.Seconds : put << nullptr;
  if (isOpen)
    put << std::string_view(JsonList(row.Rates)) << row.Blocks << row.Channels
        << std::string_view(JsonList(row.Titles)) << row.Comments;
  else
    put << nullptr << nullptr << nullptr << nullptr << nullptr;
  put << row.Warnings << std::string_view(JsonList(row.Findings));
  put.OrNull(row.Failure).OrNull(row.Notes);
  const std::int64_t id = put.Run();
  PutBlocks(id, contents.Blocks);
  PutComments(id, contents.Comments);
  PutFindings(id, contents.Findings);
}

void Index::PutBlocks(std::int64_t id, const std::vector<Block>& blocks) {
  Statement& put = Prepared(putBlock_, "INSERT INTO block VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?)");
  Statement& putChannel =
      Prepared(putChannel_, "INSERT INTO channel VALUES (?, ?, ?, ?, ?, ?, ?, ?)");
  std::int64_t number = 0;
  for (const Block& block : blocks) {
    put << id << ++number << block.StartTime << block.SamplingRate << block.FrameCount
        << block.SampleBits << (block.RealSamples ? 1 : 0) << std::string_view(block.Device)
        << std::string_view(block.Title) << std::string_view(block.Notes);
    put.Run();
    std::int64_t position = 0;
    for (const Channel& channel : block.Channels) {
      putChannel << id << number << ++position << channel.Number << std::string_view(channel.Title)
                 << std::string_view(channel.Unit) << channel.Factor << channel.Offset;
      putChannel.Run();
    }
  }
}

void Index::PutComments(std::int64_t id, const std::vector<Comment>& comments) {
  Statement& put = Prepared(putComment_, "INSERT INTO comment VALUES (?, ?, ?, ?, ?, ?)");
  std::int64_t number = 0;
  for (const Comment& comment : comments) {
    put << id << ++number << static_cast<std::int64_t>(comment.BlockIndex + 1) << comment.Time;
    std::isnan(comment.Duration) ? put << nullptr : put << comment.Duration;
    put << std::string_view(comment.Text);
    put.Run();
  }
}

void Index::PutFindings(std::int64_t id, const std::vector<Finding>& findings) {
  Statement& put = Prepared(putFinding_, "INSERT INTO finding VALUES (?, ?, ?, ?, ?, ?, ?, ?)");
  const auto orNull = [&put](std::int64_t value, bool stated) {
    stated ? put << value : put << nullptr;
  };
  std::int64_t number = 0;
  for (const Finding& finding : findings) {
    put << id << ++number << (finding.Warning ? 1 : 0) << finding.Code;
    orNull(finding.Position, finding.Position >= 0);
    orNull(finding.Block + 1, finding.Block >= 0);
    orNull(finding.Channel + 1, finding.Channel >= 0);
    put << std::string_view(finding.Text);
    put.Run();
  }
}

void Index::PutOther(const std::string& path, const FileState& state) {
  Remove(path);
  Statement& put = Prepared(putOther_, "INSERT INTO other_file VALUES (?, ?, ?, ?)");
  put.Path(path) << state.Size << state.ModifiedNs << std::string_view(state.Fingerprint);
  put.Run();
}

void Index::Remove(const std::string& path) {
  // What belongs to a recording goes with it.
  constexpr const char* removals[] = {"DELETE FROM recording WHERE path = ?",
                                      "DELETE FROM other_file WHERE path = ?"};
  for (std::size_t i = 0; i < std::size(removals); ++i)
    Prepared(removals_[i], removals[i]).Path(path).Run();
}

}  // namespace lmi
