// HDF5: a group a block, in it a dataset a channel along the dimension scale "time", in seconds from
// the start of the recording. So each has its own unit, and what reads dimension scales shows a
// block as a table with a time axis. Comments are a group of the same kind.
#include <fmt/core.h>
#include <hdf5.h>
#include <hdf5_hl.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <set>

#include "export/ExportFormats.h"
#include "output/Text.h"

namespace lmi {
namespace {

using namespace lmimport;

constexpr std::size_t LargestBuffer = 1 << 22;  // samples of all channels that are packed at once
constexpr std::size_t LargestChunk = 1 << 15;   // samples of a channel
constexpr std::size_t SmallestChunk = 1 << 9;
constexpr unsigned Deflation = 1;  // more takes much longer for a few percent

// The library tells none; other calls of the system that it makes may fail without harm.
std::string Reason() {
  const bool isFull = errno == ENOSPC || errno == EDQUOT || errno == EFBIG;
  return isFull ? std::strerror(errno) : "HDF5 can't write it";
}

/// An object of the library, closed in the end.
class Handle {
 public:
  using Closer = herr_t (*)(hid_t);
  Handle(hid_t id, Closer close, const std::string& name) : id_(id), close_(close) {
    if (id < 0) throw OutputFailed{name, Reason()};
  }
  Handle(Handle&& other) noexcept : id_(other.id_), close_(other.close_) { other.id_ = -1; }
  Handle(const Handle&) = delete;
  Handle& operator=(const Handle&) = delete;
  ~Handle() {
    if (id_ >= 0) close_(id_);
  }
  operator hid_t() const { return id_; }  // NOLINT(google-explicit-constructor)

 private:
  hid_t id_;
  Closer close_;
};

hid_t TypeOf(std::int16_t) {
  return H5T_STD_I16LE;
}
hid_t TypeOf(std::int32_t) {
  return H5T_STD_I32LE;
}
hid_t TypeOf(float) {
  return H5T_IEEE_F32LE;
}
hid_t TypeOf(double) {
  return H5T_IEEE_F64LE;
}

class Hdf5File {
 public:
  explicit Hdf5File(ExportTask& task) : task_(task) {
    const NewFile& file = task.File();
    name_ = file.Place().string();
    H5Eset_auto2(H5E_DEFAULT, nullptr, nullptr);
    file_ = H5Fcreate(file.Path().c_str(), H5F_ACC_TRUNC, H5P_DEFAULT, H5P_DEFAULT);
    Check(file_);
  }
  ~Hdf5File() {
    if (file_ >= 0) H5Fclose(file_);
  }
  Hdf5File(const Hdf5File&) = delete;
  Hdf5File& operator=(const Hdf5File&) = delete;

  void WriteRoot();
  void WriteBlock(const Part& part);
  void WriteComments();
  void Close() {
    const hid_t file = file_;
    file_ = -1;
    Check(H5Fclose(file));
  }

 private:
  void Check(std::int64_t result) const {
    if (result < 0) throw OutputFailed{name_, Reason()};
  }
  Handle Own(hid_t id, Handle::Closer close) const { return {id, close, name_}; }
  Handle TextType() const;
  void SetText(hid_t object, const char* name, const std::string& text) const;
  void SetNumber(hid_t object, const char* name, double number) const;
  Handle MakeGroup(const std::string& name) const {
    return Own(H5Gcreate2(file_, name.c_str(), H5P_DEFAULT, H5P_DEFAULT, H5P_DEFAULT), H5Gclose);
  }
  Handle MakeDataset(hid_t group, const std::string& name, hid_t type, hsize_t size,
                     hsize_t chunk) const;
  template <class T>
  void WriteAt(hid_t dataset, hsize_t first, std::span<const T> samples) const;
  template <class T>
  void WriteColumn(hid_t group, const char* name, hid_t type, const std::vector<T>& values,
                   hid_t scale) const;
  template <class T>
  void WriteSamples(const Part& part, hid_t time, const std::vector<Handle>& channels,
                    std::size_t chunk);

  ExportTask& task_;
  std::string name_;
  hid_t file_ = -1;
};

Handle Hdf5File::TextType() const {
  Handle type = Own(H5Tcopy(H5T_C_S1), H5Tclose);
  Check(H5Tset_size(type, H5T_VARIABLE));
  Check(H5Tset_cset(type, H5T_CSET_UTF8));
  return type;
}

void Hdf5File::SetText(hid_t object, const char* name, const std::string& text) const {
  if (text.empty()) return;
  const Handle type = TextType();
  const Handle space = Own(H5Screate(H5S_SCALAR), H5Sclose);
  const Handle attribute =
      Own(H5Acreate2(object, name, type, space, H5P_DEFAULT, H5P_DEFAULT), H5Aclose);
  const std::string valid = ValidUtf8(text);
  const char* const value = valid.c_str();
  Check(H5Awrite(attribute, type, &value));
}

void Hdf5File::SetNumber(hid_t object, const char* name, double number) const {
  const Handle space = Own(H5Screate(H5S_SCALAR), H5Sclose);
  const Handle attribute =
      Own(H5Acreate2(object, name, H5T_IEEE_F64LE, space, H5P_DEFAULT, H5P_DEFAULT), H5Aclose);
  Check(H5Awrite(attribute, H5T_NATIVE_DOUBLE, &number));
}

// Of one dimension; packed in chunks of so many elements, which are written whole, so the library
// keeps none of them.
Handle Hdf5File::MakeDataset(hid_t group, const std::string& name, hid_t type, hsize_t size,
                             hsize_t chunk) const {
  const Handle space = Own(H5Screate_simple(1, &size, nullptr), H5Sclose);
  const Handle layout = Own(H5Pcreate(H5P_DATASET_CREATE), H5Pclose);
  const Handle access = Own(H5Pcreate(H5P_DATASET_ACCESS), H5Pclose);
  if (size > 0) {
    Check(H5Pset_chunk(layout, 1, &chunk));
    Check(H5Pset_shuffle(layout));
    Check(H5Pset_deflate(layout, Deflation));
    Check(H5Pset_chunk_cache(access, 1, 0, 1));
  }
  return Own(H5Dcreate2(group, name.c_str(), type, space, H5P_DEFAULT, layout, access), H5Dclose);
}

template <class T>
void Hdf5File::WriteAt(hid_t dataset, hsize_t first, std::span<const T> samples) const {
  const hsize_t size = samples.size();
  const Handle target = Own(H5Dget_space(dataset), H5Sclose);
  const Handle source = Own(H5Screate_simple(1, &size, nullptr), H5Sclose);
  Check(H5Sselect_hyperslab(target, H5S_SELECT_SET, &first, nullptr, &size, nullptr));
  Check(H5Dwrite(dataset, TypeOf(T()), source, target, H5P_DEFAULT, samples.data()));
}

template <class T>
void Hdf5File::WriteColumn(hid_t group, const char* name, hid_t type, const std::vector<T>& values,
                           hid_t scale) const {
  const hsize_t size = values.size();
  const Handle space = Own(H5Screate_simple(1, &size, nullptr), H5Sclose);
  const Handle dataset =
      Own(H5Dcreate2(group, name, type, space, H5P_DEFAULT, H5P_DEFAULT, H5P_DEFAULT), H5Dclose);
  if (size > 0) Check(H5Dwrite(dataset, type, H5S_ALL, H5S_ALL, H5P_DEFAULT, values.data()));
  if (scale < 0)
    Check(H5DSset_scale(dataset, name));
  else
    Check(H5DSattach_scale(dataset, scale, 0));
}

void Hdf5File::WriteRoot() {
  const Recording& recording = task_.Recording();
  SetText(file_, "file", FileTitle(recording));
  SetText(file_, "format", std::string(recording.FormatName()));
  SetText(file_, "start", DateText(recording.Start().value_or(0), 'T'));
  SetText(file_, "notes", recording.Notes());
}

// Names of datasets: a slash would lead into a group, and "time" is the scale.
std::vector<std::string> DatasetNames(const Recording& recording, const Part& part) {
  const std::vector<std::string> titles = ChannelNames(recording, part.Block);
  std::vector<std::string> names;
  std::set<std::string> taken = {"time", ".", ".."};
  for (const std::size_t c : part.Channels) {
    std::string name = titles[c];
    std::ranges::replace(name, '/', '_');
    const std::string first = name;
    for (int number = 2; !taken.insert(name).second; ++number)
      name = fmt::format("{}_{}", first, number);
    names.push_back(std::move(name));
  }
  return names;
}

// Piece by piece of whole chunks; each column is packed from a buffer of its own.
template <class T>
void Hdf5File::WriteSamples(const Part& part, hid_t time, const std::vector<Handle>& channels,
                            std::size_t chunk) {
  const double start = task_.StartOf(part);
  const double rate = task_.BlockOf(part).SamplingRate;
  std::vector<std::vector<T>> columns(channels.size());
  std::vector<double> times;
  hsize_t done = 0;
  const auto flush = [&] {
    for (std::size_t i = 0; i < times.size(); ++i) {
      const auto frame = static_cast<double>(done + i);
      times[i] = rate > 0 ? start + frame / rate : frame;
    }
    WriteAt<double>(time, done, times);
    for (std::size_t c = 0; c < channels.size(); ++c) {
      WriteAt<T>(channels[c], done, columns[c]);
      columns[c].clear();
    }
    done += times.size();
    times.clear();
  };
  ForEachPiece<T>(task_, part, [&](std::span<const T> samples, std::size_t frames) {
    for (std::size_t first = 0; first < frames;) {
      const std::size_t count = std::min(frames - first, chunk - times.size());
      for (std::size_t c = 0; c < channels.size(); ++c) {
        for (std::size_t i = first; i < first + count; ++i)
          columns[c].push_back(samples[i * channels.size() + c]);
      }
      times.resize(times.size() + count);
      first += count;
      if (times.size() == chunk) flush();
    }
  });
  if (!times.empty()) flush();
}

void Hdf5File::WriteBlock(const Part& part) {
  const Block& block = task_.BlockOf(part);
  const auto frames = static_cast<hsize_t>(part.Frames());
  const std::size_t chunk =
      std::clamp(LargestBuffer / part.Channels.size(), SmallestChunk, LargestChunk);
  const hsize_t held = std::min<hsize_t>(chunk, std::max<hsize_t>(frames, 1));
  const Handle group = MakeGroup(fmt::format("block{}", part.Block + 1));
  const double start = task_.StartOf(part);
  SetText(group, "title", block.Title);
  SetText(group, "device", block.Device);
  SetText(group, "notes", block.Notes);
  SetNumber(group, "sampling_rate", block.SamplingRate);
  SetNumber(group, "start_time", start);
  const double clock = task_.Recording().Start().value_or(0);
  if (clock != 0) SetText(group, "start", ClockText(clock, start, 1));
  const Handle time = MakeDataset(group, "time", H5T_IEEE_F64LE, frames, held);
  Check(H5DSset_scale(time, "time"));
  SetText(time, "units", block.SamplingRate > 0 ? "s" : "frame");
  WithKind(KindOf(task_, block), [&]<class T>(T zero) {
    std::vector<Handle> channels;
    // The list of those that have a scale is an attribute, of at most 64 KiB.
    constexpr std::size_t mostScaled = 4000;
    const bool hasScale = part.Channels.size() <= mostScaled;
    if (!hasScale) task_.Say("channels have no time scale, as there are more than 4000");
    const std::vector<std::string> names = DatasetNames(task_.Recording(), part);
    for (std::size_t i = 0; i < part.Channels.size(); ++i) {
      const Channel& channel = block.Channels[part.Channels[i]];
      channels.push_back(MakeDataset(group, names[i], TypeOf(zero), frames, held));
      SetText(channels.back(), "long_name", channel.Title);
      SetText(channels.back(), "units", channel.Unit);
      SetNumber(channels.back(), "channel", channel.Number);
      if (std::integral<T>) SetNumber(channels.back(), "scale_factor", channel.Factor);
      if (std::integral<T>) SetNumber(channels.back(), "add_offset", channel.Offset);
      if (hasScale) Check(H5DSattach_scale(channels.back(), time, 0));
    }
    WriteSamples<T>(part, time, channels, chunk);
  });
}

void Hdf5File::WriteComments() {
  CommentColumns comments = task_.Comments();
  std::vector<const char*> texts;
  for (std::string& text : comments.Texts) {
    text = ValidUtf8(text);
    texts.push_back(text.c_str());
  }
  const Handle group = MakeGroup("comments");
  WriteColumn(group, "time", H5T_IEEE_F64LE, comments.Times, -1);
  const Handle time = Own(H5Dopen2(group, "time", H5P_DEFAULT), H5Dclose);
  SetText(time, "units", "s");
  WriteColumn(group, "duration", H5T_IEEE_F64LE, comments.Durations, time);
  WriteColumn(group, "block", H5T_STD_I32LE, comments.Blocks, time);
  WriteColumn(group, "text", TextType(), texts, time);
}

}  // namespace

void ExportHdf5(ExportTask& task) {
  // What a full disk has left open would be closed once more at the end of the program, and crash.
  H5dont_atexit();
  Hdf5File file(task);
  file.WriteRoot();
  for (const Part& part : task.Parts()) file.WriteBlock(part);
  file.WriteComments();
  file.Close();
}

}  // namespace lmi
