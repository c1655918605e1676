// MATLAB level 5: a struct a block, with the samples, frames by channels, as its last field. The
// library that writes it takes all samples of a variable at once; it is given zeros, which take no
// memory, and the samples are then put into their place in the file.
#include <fmt/core.h>
#include <lmimport/Text.h>
#include <matio.h>
#include <sys/mman.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <memory>

#include "export/ExportFormats.h"
#include "export/FileWriter.h"
#include "output/Text.h"

namespace lmi {
namespace {

using namespace lmimport;

constexpr std::int64_t LargestVariable = 0x7fffffff;  // bytes
constexpr std::int64_t HeaderBytes = 128;
constexpr std::int64_t TagBytes = 8;

struct FreeVariable {
  void operator()(matvar_t* variable) const { Mat_VarFree(variable); }
};
using Variable = std::unique_ptr<matvar_t, FreeVariable>;

matio_types TypeOf(std::int16_t) {
  return MAT_T_INT16;
}
matio_types TypeOf(std::int32_t) {
  return MAT_T_INT32;
}
matio_types TypeOf(float) {
  return MAT_T_SINGLE;
}
matio_types TypeOf(double) {
  return MAT_T_DOUBLE;
}

matio_classes ClassOf(matio_types type) {
  if (type == MAT_T_INT16) return MAT_C_INT16;
  if (type == MAT_T_INT32) return MAT_C_INT32;
  return type == MAT_T_SINGLE ? MAT_C_SINGLE : MAT_C_DOUBLE;
}

std::int64_t InWholeTags(std::int64_t bytes) {
  return (bytes + TagBytes - 1) / TagBytes * TagBytes;
}

// Bytes that read as zeros.
class Zeros {
 public:
  explicit Zeros(std::int64_t size)
      : size_(static_cast<std::size_t>(std::max<std::int64_t>(size, 1))) {
    data_ = ::mmap(nullptr, size_, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (data_ == MAP_FAILED) throw std::bad_alloc();
  }
  ~Zeros() { ::munmap(data_, size_); }
  Zeros(const Zeros&) = delete;
  Zeros& operator=(const Zeros&) = delete;
  void* Data() const { return data_; }

 private:
  std::size_t size_;
  void* data_;
};

Variable Numbers(const std::vector<double>& values) {
  std::array<std::size_t, 2> sizes = {values.size(), 1};
  return Variable(Mat_VarCreate(nullptr, MAT_C_DOUBLE, MAT_T_DOUBLE, 2, sizes.data(),
                                const_cast<double*>(values.data()), 0));
}

Variable Text(const std::string& utf8) {
  String units = FromUtf8(utf8);
  std::array<std::size_t, 2> sizes = {units.empty() ? 0U : 1U, units.size()};
  return Variable(
      Mat_VarCreate(nullptr, MAT_C_CHAR, MAT_T_UTF16, 2, sizes.data(), units.data(), 0));
}

Variable Texts(const std::vector<std::string>& texts) {
  std::array<std::size_t, 2> sizes = {texts.size(), 1};
  Variable cell(Mat_VarCreate(nullptr, MAT_C_CELL, MAT_T_CELL, 2, sizes.data(), nullptr, 0));
  for (std::size_t i = 0; i < texts.size(); ++i)
    Mat_VarSetCell(cell.get(), static_cast<int>(i), Text(texts[i]).release());
  return cell;
}

// A struct of one element.
class Struct {
 public:
  explicit Struct(const std::string& name) {
    const std::array<std::size_t, 2> sizes = {1, 1};
    variable_.reset(Mat_VarCreateStruct2(name.c_str(), 2, sizes.data(), nullptr));
  }
  void Add(const char* field, Variable value) {
    Mat_VarAddStructField(variable_.get(), field);
    Mat_VarSetStructFieldByName(variable_.get(), field, 0, value.release());
  }
  matvar_t* Get() const { return variable_.get(); }

 private:
  Variable variable_;
};

class MatFile {
 public:
  explicit MatFile(ExportTask& task) : task_(task), place_(task.File()) {
    const std::string text = "MATLAB 5.0 MAT-file, by lmi export";
    mat_ = Mat_CreateVer(place_.Path().c_str(), text.c_str(), MAT_FT_MAT5);
    if (mat_ == nullptr) Fail();
  }
  ~MatFile() {
    if (mat_ != nullptr) Mat_Close(mat_);
  }
  MatFile(const MatFile&) = delete;
  MatFile& operator=(const MatFile&) = delete;

  void AddRecording();
  void AddComments();
  void AddBlock(const Part& part);

  /// Nothing is added after it.
  void WriteSamples();

 private:
  [[noreturn]] void Fail() const {
    throw OutputFailed{place_.Place().string(),
                       errno != 0 ? std::strerror(errno) : "it can't be written"};
  }
  void Write(const Struct& variable) {
    errno = 0;
    if (Mat_VarWrite(mat_, variable.Get(), MAT_COMPRESSION_NONE) != 0) Fail();
    ++variables_;
  }
  std::int64_t BytesOf(const Part& part) const;
  void FillIn(FileWriter& file, const Part& part, std::int64_t end);

  ExportTask& task_;
  const NewFile& place_;
  mat_t* mat_ = nullptr;
  int variables_ = 0;
};

void MatFile::AddRecording() {
  const Recording& recording = task_.Recording();
  Struct variable("recording");
  variable.Add("file", Text(FileTitle(recording)));
  variable.Add("format", Text(std::string(recording.FormatName())));
  variable.Add("start", Text(DateText(recording.Start().value_or(0), 'T')));
  variable.Add("notes", Text(recording.Notes()));
  Write(variable);
}

void MatFile::AddComments() {
  const CommentColumns comments = task_.Comments();
  Struct variable("comments");
  variable.Add("time", Numbers(comments.Times));
  variable.Add("duration", Numbers(comments.Durations));
  variable.Add("block", Numbers({comments.Blocks.begin(), comments.Blocks.end()}));
  variable.Add("text", Texts(comments.Texts));
  Write(variable);
}

std::int64_t MatFile::BytesOf(const Part& part) const {
  std::int64_t bytes = 0;
  WithKind(KindOf(task_, task_.BlockOf(part)), [&]<class T>(T) {
    bytes = part.Frames() * std::ssize(part.Channels) * std::int64_t{sizeof(T)};
  });
  return bytes;
}

void MatFile::AddBlock(const Part& part) {
  const Block& block = task_.BlockOf(part);
  const SampleKind kind = KindOf(task_, block);
  const ChannelColumns columns = task_.ChannelsOf(part);
  Struct variable(fmt::format("block{}", part.Block + 1));
  variable.Add("title", Text(block.Title));
  variable.Add("device", Text(block.Device));
  variable.Add("notes", Text(block.Notes));
  variable.Add("titles", Texts(columns.Titles));
  variable.Add("units", Texts(columns.Units));
  variable.Add("rate", Numbers({block.SamplingRate}));
  variable.Add("start", Numbers({task_.StartOf(part)}));
  if (kind == SampleKind::Word || kind == SampleKind::Long) {
    variable.Add("factor", Numbers(columns.Factors));
    variable.Add("offset", Numbers(columns.Offsets));
  }
  const std::int64_t bytes = BytesOf(part);
  if (bytes + std::int64_t{static_cast<std::int64_t>(Mat_VarGetSize(variable.Get()))} + 65536 >
      LargestVariable)
    throw std::runtime_error(
        fmt::format("block {} takes {} bytes, and a variable of MATLAB level 5 holds {}: export "
                    "less of it, or to hdf5",
                    part.Block + 1, bytes, LargestVariable));
  const Zeros zeros(bytes);
  WithKind(kind, [&](auto zero) {
    const matio_types type = TypeOf(zero);
    std::array<std::size_t, 2> sizes = {static_cast<std::size_t>(part.Frames()),
                                        part.Channels.size()};
    variable.Add("data", Variable(Mat_VarCreate(nullptr, ClassOf(type), type, 2, sizes.data(),
                                                zeros.Data(), MAT_F_DONT_COPY_DATA)));
  });
  Write(variable);
}

// Channel after channel, as MATLAB has them, into the element that ends here.
void MatFile::FillIn(FileWriter& file, const Part& part, std::int64_t end) {
  const std::int64_t bytes = BytesOf(part);
  if (bytes == 0) return;
  const std::int64_t start = end - InWholeTags(bytes);
  std::array<std::uint32_t, 2> tag{};
  file.ReadAt(start - TagBytes, tag.data(), sizeof tag);
  if (tag[1] != bytes) throw std::runtime_error("the MATLAB file isn't laid out as expected");
  WithKind(KindOf(task_, task_.BlockOf(part)), [&]<class T>(T) {
    const std::size_t channels = part.Channels.size();
    std::vector<T> column;
    std::int64_t done = 0;
    ForEachPiece<T>(task_, part, [&](std::span<const T> samples, std::size_t frames) {
      column.resize(frames);
      for (std::size_t c = 0; c < channels; ++c) {
        for (std::size_t i = 0; i < frames; ++i) column[i] = samples[i * channels + c];
        const std::int64_t first = static_cast<std::int64_t>(c) * part.Frames() + done;
        file.WriteAt(start + first * std::int64_t{sizeof(T)}, column.data(), frames * sizeof(T));
      }
      done += static_cast<std::int64_t>(frames);
    });
  });
}

void MatFile::WriteSamples() {
  mat_t* const mat = mat_;
  mat_ = nullptr;
  errno = 0;
  if (Mat_Close(mat) != 0) Fail();
  // The variables follow each other, each after its type and size; the blocks are the last.
  FileWriter file(place_);
  std::int64_t position = HeaderBytes;
  const int others = variables_ - static_cast<int>(task_.Parts().size());
  for (int i = 0; i < variables_; ++i) {
    std::array<std::uint32_t, 2> tag{};
    file.ReadAt(position, tag.data(), sizeof tag);
    position += TagBytes + tag[1];
    if (i >= others) FillIn(file, task_.Parts()[static_cast<std::size_t>(i - others)], position);
  }
  file.Close();
}

}  // namespace

void ExportMat(ExportTask& task) {
  MatFile file(task);
  file.AddRecording();
  file.AddComments();
  for (const Part& part : task.Parts()) file.AddBlock(part);
  file.WriteSamples();
}

}  // namespace lmi
