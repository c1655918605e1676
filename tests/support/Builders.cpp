#include "support/Builders.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <fstream>

namespace lmimport::test {

std::string Patched(std::string bytes, std::size_t offset, const Bytes& patch) {
  return bytes.replace(offset, patch.Size(), patch.Get());
}

namespace {

void AppendBlock(Bytes& file, const ChartBlock& block) {
  const auto channels = block.ChannelIndex.size();
  const auto frames = static_cast<int>(block.Samples.size() / channels);
  const auto dataBytes = static_cast<int>(block.Samples.size() * 2);
  file.Text(block.Signature).Int32(block.SizeChannel.value_or(frames)).Real32(block.Rate);
  file.Int8(14).Zeros(3);
  file.CountedText("Model X").CountedText(" Run ").CountedText(" block notes").CountedText("");
  file.CountedText("block pad").CountedText("");
  file.Real64(40000.25).Int32(0);
  file.Int16(block.ChannelCount.value_or(static_cast<int>(channels))).Int16(0);
  for (const int index : block.ChannelIndex) file.Int16(index);
  for (const float scale : block.Scale) file.Real32(scale);
  for (const float offset : block.Offset) file.Real32(offset);
  file.Text(block.ChunkId).Int32(block.ChunkSize.value_or(dataBytes));
  for (const int sample : block.Samples) file.Int16(sample);
  file.Int32(block.CommentCount.value_or(static_cast<int>(block.Comments.size())));
  for (const ChartComment& comment : block.Comments)
    file.Int32(comment.Position).Int32(0).CountedText(comment.Text);
  file.Zeros(12);
}

}  // namespace

std::string Chart::Build() const {
  const int channels = ChannelCount.value_or(static_cast<int>(Channels.size()));
  Bytes file;
  file.Text("LMC").Int8(0).Int16(Major).Int16(Minor).Int16(7).Int16(channels).Int32(0);
  file.Int16(BlockCount.value_or(static_cast<int>(Blocks.size()))).Int16(5).Int32(-1).Zeros(16);
  file.CountedText("name").CountedText("file notes").CountedText("").CountedText("file pad");
  file.Zeros(8 + 64 + 8 + 32 * static_cast<std::size_t>(channels));
  for (const auto& [title, unit] : Channels) {
    file.Text(ChannelSignature).Zeros(28).CountedText(title).CountedText(unit);
    file.Int32(0).Real32(0).Int32(0).Int32(0);
    file.CountedText("a").CountedText("").CountedText("b").CountedText("").Zeros(12);
  }
  for (const ChartBlock& block : Blocks) AppendBlock(file, block);
  return file.Get();
}

std::string WinDaq::Build() const {
  const std::size_t headerSize = 110 + Channels.size() * 36 + 10;
  const auto samplesSize = static_cast<int>(Samples.size() * 2);
  Bytes file;
  file.Int16(ChannelField.value_or(static_cast<int>(Channels.size()))).Int16(0).Int8(110).Int8(36);
  file.Int16(static_cast<int>(headerSize)).Int32(DataBytes.value_or(samplesSize));
  file.Int32(TrailerBytes.value_or(static_cast<int>(Markers.size() * 4)));
  file.Int16(AnnotationBytes.value_or(static_cast<int>(Annotations.size())));
  file.PadTo(28).Real64(0.5).Int32(StartTime).Int32(EndTime);
  file.PadTo(100).Int16(Flags).PadTo(110);
  for (const WinDaqChannel& channel : Channels) {
    const std::size_t start = file.Size();
    file.Zeros(8).Real64(channel.Slope).Real64(channel.Intercept).Text(channel.Unit);
    file.PadTo(start + 36);
  }
  file.PadTo(headerSize - 2).Int16(0x8001);
  for (const int sample : Samples) file.Int16(sample);
  for (const std::int64_t marker : Markers) file.Int32(marker);
  file.Text(Annotations).Text(CommentTexts);
  return file.Get();
}

std::string Filled(std::size_t size, const Fields& fields) {
  std::string bytes(size, '\0');
  for (const auto& [offset, field] : fields) bytes.replace(offset, field.Size(), field.Get());
  return bytes;
}

std::string Chunk(std::string_view id, std::string_view body) {
  return Bytes().Text(id).CountedText(body).Get();
}

std::string Wave::Build() const {
  const int frameBytes = FrameBytes.value_or(Channels * Bits / 8);
  const auto dataBytes = static_cast<std::int64_t>(Samples.size() * 2);
  Bytes file;
  file.Text("RIFF").Int32(0).Text(Form).Text(BeforeFormat).Text("fmt ").Int32(FormatBytes);
  file.Int16(Tag).Int16(Channels).Int32(Rate).Int32(0).Int16(frameBytes).Int16(Bits);
  if (FormatBytes > 16) file.Zeros(static_cast<std::size_t>(FormatBytes) - 16);
  file.Text(BeforeData).Text("data").Int32(DataBytes.value_or(dataBytes));
  for (const int sample : Samples) file.Int16(sample);
  return file.Get();
}

std::string Mat5Element(int type, std::string_view data) {
  return Bytes().Int32(type).CountedText(data).Zeros((8 - data.size() % 8) % 8).Get();
}

std::string Mat5(const std::vector<Mat5Variable>& variables) {
  std::string file = Filled(
      128, {{0, Bytes().Text("MATLAB 5.0 MAT-file")}, {124, Bytes().Int16(0x100).Text("IM")}});
  for (const Mat5Variable& variable : variables) {
    Bytes dimensions;
    for (const int dimension : variable.Dimensions) dimensions.Int32(dimension);
    const std::string flags = Bytes().Int8(variable.Class).Int8(variable.Flags).Zeros(6).Get();
    file += Mat5Element(14, Mat5Element(6, flags) + Mat5Element(5, dimensions.Get()) +
                                Mat5Element(1, variable.Name) +
                                Mat5Element(variable.Type, variable.Data));
  }
  return file;
}

std::string Mat4(int type, int rows, int columns, bool imaginary, std::string_view name,
                 std::string_view data) {
  Bytes variable;
  variable.Int32(type).Int32(rows).Int32(columns).Int32(imaginary ? 1 : 0);
  variable.Int32(static_cast<std::int64_t>(name.size()) + 1).Text(name).Int8(0).Text(data);
  return variable.Get();
}

std::string FullPar(const std::vector<ParNote>& notes, std::optional<int> noteCount) {
  const std::string layout = Filled(17131, {{0, Bytes().Text("3")},
                                            {8, Bytes().Text("7859525")},
                                            {20, Bytes().Text("E14 ")},
                                            {91, Bytes().Real32(2)},
                                            {95, Bytes().Int8(1).Zeros(4).Int8(9)},
                                            {159, Bytes().Zeros(5).Int8(1)},
                                            {235 + 40, Bytes().Real64(2)},
                                            {491 + 40, Bytes().Real64(100)},
                                            {747 + 40, Bytes().Real64(3)},
                                            {8939 + 40, Bytes().Real64(4)}});
  Bytes file;
  file.Text(layout).Int32(noteCount.value_or(static_cast<int>(notes.size())));
  for (const ParNote& note : notes) {
    file.Int32(note.Step).Zeros(20).Int8(note.Text.empty() ? 0 : 1);
    if (!note.Text.empty()) file.Text(Filled(256, {{0, Bytes().Text(note.Text)}}));
  }
  return file.Get();
}

std::string ShortPar() {
  return Filled(223, {{8, Bytes().Text("1618190")},
                      {20, Bytes().Text("L-783")},
                      {91, Bytes().Real32(0.5F)},
                      {97, Bytes().Int8(1)},
                      {161, Bytes().Int8(1)}});
}

std::string LongPar() {
  return Filled(341, {{8, Bytes().Text("1618190")},
                      {16, Bytes().Text("A")},
                      {20, Bytes().Text("L-783")},
                      {109, Bytes().Real64(0.5)},
                      {117, Bytes().Int32(256).Int32(0).Int32(1)},
                      {277, Bytes().Int8(9).Int8(9).Int8(1).Int8(9)}});
}

std::string Rvp() {
  const std::string header = Filled(
      2664, {{0, Bytes().Text("RTVP")},
             {32, Bytes().Text("L-783")},
             {544, Bytes().Int16(2001).Int16(2).Int16(6).Int16(3).Int16(4).Int16(5).Int16(6)},
             {566, Bytes().Int16(2)},
             {592, Bytes().Real64(2)},
             {608, Bytes().Int32(3)}});
  const auto channel = [](int number, const char* name, const char* unit, double perCount) {
    return Filled(370, {{0, Bytes().Int16(number)},
                        {2, Bytes().Text(name)},
                        {66, Bytes().Text(unit)},
                        {98, Bytes().Real64(perCount).Real64(10)}});
  };
  return header + channel(3, "Flow", "l/s", 0.5) + channel(1, "Gas", "%", 0.25);
}

std::int64_t CommentAt(std::int64_t offset) {
  return offset - 0x80000000LL;
}

TempFolder::TempFolder() {
  std::string name = (std::filesystem::temp_directory_path() / "lmimport-XXXXXX").string();
  if (::mkdtemp(name.data()) == nullptr) throw std::runtime_error("no temporary folder");
  path_ = name;
}

TempFolder::~TempFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

std::string TempFolder::Write(std::string_view name, std::string_view bytes) const {
  std::ofstream file(path_ / name, std::ios::binary | std::ios::trunc);
  file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  if (!file.flush()) throw std::runtime_error("can't write a test file");
  return PathOf(name);
}

std::string Contents(const std::string& name) {
  std::ifstream file(name, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

void SetWriteTime(const std::string& name, std::int64_t seconds, long nanoseconds) {
  const std::timespec times[] = {{0, UTIME_OMIT}, {seconds, nanoseconds}};
  if (::utimensat(AT_FDCWD, name.c_str(), times, 0) != 0)
    throw std::runtime_error("can't set the date of a test file");
}

Environment::Environment(const char* variable, const char* value) : variable_(variable) {
  if (const char* before = std::getenv(variable)) before_ = before;
  ::setenv(variable, value, 1);
}

Environment::~Environment() {
  if (before_) {
    ::setenv(variable_, before_->c_str(), 1);
  } else {
    ::unsetenv(variable_);
  }
}

}  // namespace lmimport::test
