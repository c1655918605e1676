#include <algorithm>
#include <cmath>
#include <utility>

#include "support/Builders.h"

namespace lmimport::test {
namespace {

// A field of ASCII text, padded with blanks.
std::string Field(std::string text, std::size_t width) {
  text.resize(width, ' ');
  return text;
}

int WorkedOutDivider(const Acq& acq, const AcqChannelOf& channel) {
  std::size_t most = 0;
  for (const AcqChannelOf& other : acq.Channels) most = std::max(most, other.Samples.size());
  return static_cast<int>(
      std::nearbyint(static_cast<double>(most) / static_cast<double>(channel.Samples.size())));
}

// One sample of each channel at the steps that its divider divides.
std::string AcqSamples(const Acq& acq) {
  Bytes bytes;
  std::vector<std::size_t> next(acq.Channels.size());
  bool any = true;
  for (int step = 0; any; ++step) {
    any = false;
    for (std::size_t k = 0; k < acq.Channels.size(); ++k) {
      const AcqChannelOf& channel = acq.Channels[k];
      if (next[k] == channel.Samples.size()) continue;
      any = true;
      if (step % WorkedOutDivider(acq, channel) != 0) continue;
      const double sample = channel.Samples[next[k]++];
      if (channel.IsDouble)
        bytes.Real64(sample);
      else
        bytes.Int16(static_cast<int>(sample));
    }
  }
  return bytes.Get();
}

}  // namespace

std::string Words(const std::vector<int>& values) {
  Bytes words;
  for (const int value : values) words.Int16(value);
  return words.Get();
}

EdfSignal EdfAnnotations(const std::vector<std::string>& records, std::size_t samples) {
  EdfSignal signal{.Label = "EDF Annotations", .Unit = "", .Records = records};
  for (std::string& record : signal.Records) record.resize(2 * samples);
  return signal;
}

std::string Edf::Build() const {
  const auto number = [](std::size_t value) { return std::to_string(value); };
  const std::size_t records = Signals.empty() ? 0 : Signals.front().Records.size();
  const std::string start = Field(Version, 8) + Field(Patient, 80) + Field("recording", 80) +
                            Field(Date, 8) + Field(Time, 8);
  const auto stated = [](const std::string& text, const std::string& counted) {
    return text.empty() ? counted : text;
  };
  std::string file = start + Field(stated(HeaderBytes, number(256 * (1 + Signals.size()))), 8) +
                     Field(Reserved, 44) + Field(stated(RecordCount, number(records)), 8) +
                     Field(Duration, 8) + Field(stated(SignalCount, number(Signals.size())), 4);
  const auto eachSignal = [&](std::size_t width, const auto& text) {
    for (const EdfSignal& signal : Signals) file += Field(text(signal), width);
  };
  const auto blank = [](const EdfSignal&) { return std::string(); };
  eachSignal(16, [](const EdfSignal& signal) { return signal.Label; });
  eachSignal(80, blank);
  eachSignal(8, [](const EdfSignal& signal) { return signal.Unit; });
  eachSignal(8, [](const EdfSignal& signal) { return signal.PhysicalMin; });
  eachSignal(8, [](const EdfSignal& signal) { return signal.PhysicalMax; });
  eachSignal(8, [](const EdfSignal& signal) { return signal.DigitalMin; });
  eachSignal(8, [](const EdfSignal& signal) { return signal.DigitalMax; });
  eachSignal(80, blank);
  eachSignal(8, [&](const EdfSignal& signal) {
    return stated(signal.RecordSamples, number(signal.Records.front().size() / 2));
  });
  eachSignal(32, blank);
  for (std::size_t record = 0; record < records; ++record)
    for (const EdfSignal& signal : Signals) file += signal.Records[record];
  return file;
}

std::string Acq::Build() const {
  Bytes file;
  file.Int16(0).Int32(Version).Int32(GraphLength);
  file.Int16(ChannelTotal.value_or(static_cast<int>(Channels.size()))).Int32(0).Real64(Interval);
  file.PadTo(static_cast<std::size_t>(GraphLength));
  for (const AcqChannelOf& channel : Channels) {
    const std::size_t start = file.Size();
    file.Int32(ChannelLength).Int16(0).Text(channel.Title).PadTo(start + 68).Text(channel.Unit);
    file.PadTo(start + 88);
    file.Int32(channel.SampleCount.value_or(static_cast<int>(channel.Samples.size())));
    file.Real64(channel.Scale).Real64(channel.Offset);
    if (ChannelLength >= 252) file.PadTo(start + 250).Int16(channel.StatedDivider);
    file.PadTo(start + static_cast<std::size_t>(ChannelLength));
  }
  file.Int16(ForeignBytes).Zeros(static_cast<std::size_t>(ForeignBytes) - 2);
  for (const AcqChannelOf& channel : Channels)
    file.Int16(channel.SampleBytes.value_or(channel.IsDouble ? 8 : 2))
        .Int16(channel.Kind.value_or(channel.IsDouble ? 1 : 2));
  file.Text(AcqSamples(*this)).Int32(0).Int32(static_cast<int>(Markers.size()));
  for (const AcqMarker& marker : Markers) {
    file.Int32(marker.Step).Zeros(6);
    file.Int16(marker.TextLength.value_or(static_cast<int>(marker.Text.size()))).Text(marker.Text);
    file.Zeros(marker.EndBytes);
  }
  return file.Get();
}

std::string Zlib(std::string_view bytes) {
  Bytes stream;
  std::uint32_t low = 1;
  std::uint32_t high = 0;
  for (const char c : bytes) {
    low = (low + static_cast<Byte>(c)) % 65521;
    high = (high + low) % 65521;
  }
  stream.Int8(0x78).Int8(1);
  constexpr std::size_t longest = 65535;
  do {
    const std::string_view part = bytes.substr(0, longest);
    bytes.remove_prefix(part.size());
    const auto size = static_cast<int>(part.size());
    stream.Int8(bytes.empty() ? 1 : 0).Int16(size).Int16(~size).Text(part);
  } while (!bytes.empty());
  return stream.Get() + Bytes(true).Int32(std::int64_t{high} << 16 | low).Get();
}

std::string PublishedAcq::Build() const {
  const bool of4 = Version >= 61;
  const auto sample = [](const AcqChannelOf& channel, std::size_t i, bool big) {
    Bytes bytes(big);
    return (channel.IsDouble ? bytes.Real64(channel.Samples[i])
                             : bytes.Int16(static_cast<int>(channel.Samples[i])))
        .Get();
  };
  Bytes file(IsBigEndian);
  file.Int16(0).Int32(Version).Int32(2400).Int16(static_cast<int>(Channels.size()));
  file.Int32(0).Real64(0.5).PadTo(of4 ? 972 : 1936).Int32(IsCompressed ? 1 : 0).PadTo(2400);
  for (const AcqChannelOf& channel : Channels) {
    const std::size_t start = file.Size();
    file.Int32(254).Int16(0).Text(channel.Title).PadTo(start + 68).Text(channel.Unit);
    file.PadTo(start + 88).Int32(static_cast<int>(channel.Samples.size())).Real64(channel.Scale);
    file.Real64(channel.Offset).PadTo(start + (of4 ? 152 : 250)).Int16(channel.StatedDivider);
    file.PadTo(start + 254);
  }
  of4 ? file.Int32(8).Int32(0) : file.Int16(6).Int32(0);
  std::size_t steps = 0;
  for (const AcqChannelOf& channel : Channels) {
    file.Int16(channel.IsDouble ? 8 : 2).Int16(channel.IsDouble ? 1 : 2);
    const auto divider = static_cast<std::size_t>(std::max(1, channel.StatedDivider));
    steps = std::max(steps, channel.Samples.size() * divider);
  }
  for (std::size_t step = 0; step < steps && !IsCompressed; ++step) {
    for (const AcqChannelOf& channel : Channels) {
      const auto divider = static_cast<std::size_t>(std::max(1, channel.StatedDivider));
      if (step % divider == 0 && step / divider < channel.Samples.size())
        file.Text(sample(channel, step / divider, IsBigEndian));
    }
  }
  file.Int32(0).Int32(static_cast<int>(Markers.size()) + (of4 ? 1 : 0)).Zeros(of4 ? 17 : 0);
  for (const AcqMarker& marker : Markers) {
    file.Int32(marker.Step).Zeros(of4 ? 10 : Version >= 36 ? 6 : 4);
    file.Int16(static_cast<int>(marker.Text.size()) + (of4 ? 1 : 0)).Text(marker.Text);
    file.Zeros(of4 || Version >= 36 ? 1 : 0);
  }
  if (!IsCompressed) return file.Get();
  if (of4)
    file.Int32(10).Zeros(6 + 24).Int32(1).Int32(2).Zeros(20).Text("abc");
  else
    file.Text("\x44\x33\x22\x11").Int16(0).Int32(3).Text("abc").Zeros(34).Int32(1).Text("d");
  for (const AcqChannelOf& channel : Channels) {
    std::string samples;
    for (std::size_t i = 0; i < channel.Samples.size(); ++i) samples += sample(channel, i, false);
    const std::string packed = Zlib(samples);
    file.Zeros(44).Int32(1).Int32(1).Int32(static_cast<int>(samples.size()));
    file.Int32(static_cast<int>(packed.size())).Text("ab").Text(packed);
  }
  return file.Get();
}

}  // namespace lmimport::test
