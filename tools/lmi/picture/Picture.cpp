#include "picture/Picture.h"

#include <fmt/core.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <exception>
#include <mutex>
#include <stdexcept>
#include <thread>

#include "output/Text.h"

namespace lmi {
namespace {

using namespace lmimport;

// One curve that is still to be read.
struct Task {
  const Recording* Source;
  std::size_t Lane;
  std::size_t Block;
  std::size_t Channel;
  std::int64_t First;
  std::int64_t Count;
  std::size_t Bins;  // 0: the samples themselves
  Curve Result;
};

double TimeAt(const Block& block, std::int64_t frame) {
  const double rate = block.SamplingRate;
  return block.StartTime + (rate > 0 ? static_cast<double>(frame) / rate : 0);
}

// The lane of a channel: the one that has it in another block or reading, else a new one. Blocks
// that have a title are things of their own, such as the variables of a MATLAB file.
std::size_t LaneOf(std::vector<Lane>& lanes, const Block& block, std::size_t channel) {
  const Channel& what = block.Channels[channel];
  std::string title = ChannelNames(block)[channel];
  if (what.Title.empty() && !block.Title.empty())
    title = block.Channels.size() == 1 ? OneLine(block.Title)
                                       : fmt::format("{} {}", OneLine(block.Title), title);
  const auto found = std::ranges::find_if(lanes, [&](const Lane& lane) {
    return lane.Number == what.Number && lane.Title == title && lane.Unit == what.Unit;
  });
  if (found != lanes.end()) return static_cast<std::size_t>(found - lanes.begin());
  lanes.push_back({title, OneLine(what.Unit), what.Number, {}, NAN, NAN});
  return lanes.size() - 1;
}

void Read(Task& task) {
  Curve& curve = task.Result;
  if (task.Bins > 0) {
    curve.Points.resize(task.Bins);
    task.Source->Overview(task.Block, task.Channel, task.First, task.Count, curve.Points);
    return;
  }
  std::vector<double> samples(static_cast<std::size_t>(task.Count));
  samples.resize(
      static_cast<std::size_t>(task.Source->Read(task.Block, task.Channel, task.First, samples)));
  for (const double sample : samples) curve.Points.push_back({sample, sample});
}

// On all processors; the first fault ends it and goes on to the caller.
void ReadAll(std::vector<Task>& tasks, const std::function<bool(double)>& progress) {
  std::int64_t total = 0;
  for (const Task& task : tasks) total += task.Count;
  std::atomic<std::size_t> next = 0;
  std::atomic<bool> ends = false;
  std::mutex guard;
  std::int64_t done = 0;
  std::exception_ptr fault;
  const auto work = [&] {
    for (std::size_t i = 0; (i = next++) < tasks.size() && !ends;) {
      try {
        Read(tasks[i]);
      } catch (...) {
        const std::scoped_lock lock(guard);
        fault = std::current_exception();
        ends = true;
      }
      const std::scoped_lock lock(guard);
      done += tasks[i].Count;
      if (!progress(static_cast<double>(done) / static_cast<double>(total))) ends = true;
    }
  };
  {
    std::vector<std::jthread> helpers;
    const std::size_t wanted =
        std::min<std::size_t>(std::thread::hardware_concurrency(), tasks.size());
    for (std::size_t i = 1; i < wanted; ++i) helpers.emplace_back(work);
    work();
  }
  if (fault) std::rethrow_exception(fault);
}

void AddTasks(const Recording& recording, bool isSecond, const PictureOptions& options,
              std::vector<Lane>& lanes, std::vector<Task>& tasks) {
  for (const Part& part : Select(recording, options.Selection)) {
    const Block& block = recording.Blocks()[part.Block];
    if (part.Frames() == 0) continue;
    for (const std::size_t channel : part.Channels)
      tasks.push_back({&recording,
                       LaneOf(lanes, block, channel),
                       part.Block,
                       channel,
                       part.First,
                       part.Frames(),
                       0,
                       {TimeAt(block, part.First), TimeAt(block, part.End), isSecond, false, {}}});
  }
}

void Widen(Lane& lane, const Curve& curve) {
  for (const Extremes& point : curve.Points) {
    if (!std::isfinite(point.Smallest) || !std::isfinite(point.Largest)) continue;
    lane.Low = std::fmin(lane.Low, point.Smallest);
    lane.High = std::fmax(lane.High, point.Largest);
  }
}

}  // namespace

Picture MakePicture(const Recording& recording, const Recording* second,
                    const PictureOptions& options) {
  Picture picture;
  std::vector<Task> tasks;
  AddTasks(recording, false, options, picture.Lanes, tasks);
  if (second != nullptr) AddTasks(*second, true, options, picture.Lanes, tasks);
  if (tasks.empty()) throw std::runtime_error("there is no sample to draw");
  picture.From = std::ranges::min_element(tasks, {}, [](const Task& t) {
                   return t.Result.Start;
                 })->Result.Start;
  picture.To =
      std::ranges::max_element(tasks, {}, [](const Task& t) { return t.Result.End; })->Result.End;
  if (!(picture.To > picture.From)) picture.To = picture.From + 1;
  for (Task& task : tasks) {
    // Below two samples a column the samples themselves are drawn.
    const double part = (task.Result.End - task.Result.Start) / (picture.To - picture.From);
    const auto columns =
        static_cast<std::int64_t>(std::ceil(part * static_cast<double>(options.Columns)));
    if (task.Count > 2 * columns)
      task.Bins = static_cast<std::size_t>(std::max<std::int64_t>(1, columns));
    task.Result.IsEnvelope = task.Bins > 0;
  }
  ReadAll(tasks, options.Progress);
  for (Task& task : tasks) {
    Widen(picture.Lanes[task.Lane], task.Result);
    picture.Lanes[task.Lane].Curves.push_back(std::move(task.Result));
  }
  picture.Title = OneLine(FileTitle(recording));
  picture.Start = recording.Start();
  const std::string start = DateText(picture.Start.value_or(0), ' ');
  picture.Subtitle = fmt::format("{}, {}", recording.FormatName(),
                                 start.empty() ? "no start stated" : "starts " + start);
  picture.HasSecond = second != nullptr;
  for (const Comment& comment : recording.Comments()) {
    if (comment.Time >= picture.From && comment.Time <= picture.To)
      picture.Marks.push_back({comment.Time, OneLine(comment.Text)});
  }
  return picture;
}

std::vector<double> TicksOf(double low, double high, int most) {
  std::vector<double> ticks;
  if (!(high > low) || !std::isfinite(high - low)) return ticks;
  const double rough = (high - low) / most;
  const double power = std::pow(10, std::floor(std::log10(rough)));
  double step = 10 * power;
  for (const double factor : {5.0, 2.0, 1.0}) {
    if (factor * power >= rough) step = factor * power;
  }
  for (double i = std::ceil(low / step - 1e-9); i * step <= high + step * 1e-9; ++i)
    ticks.push_back(i * step + 0.0);
  return ticks;
}

std::vector<double> TimeTicksOf(double from, double to, int most) {
  constexpr double steps[] = {15,        30,         60,         120,        300,      600,
                              900,       1800,       3600,       2 * 3600,   3 * 3600, 6 * 3600,
                              12 * 3600, 24 * 3600., 48 * 3600., 168 * 3600.};
  const double rough = (to - from) / most;
  if (rough <= 10) return TicksOf(from, to, most);
  const auto* const found = std::ranges::lower_bound(steps, rough);
  if (found == std::end(steps)) return TicksOf(from, to, most);
  std::vector<double> ticks;
  for (double i = std::ceil(from / *found); i * *found <= to; ++i) ticks.push_back(i * *found);
  return ticks;
}

std::string TimeTickText(double seconds, double step) {
  if (step < 10 && std::abs(seconds) < 600) return fmt::format("{:.9g}", seconds);
  // Down to what tells ticks apart.
  std::string text = DurationText(seconds);
  const std::size_t point = text.find('.');
  if (step >= 1) return text.substr(0, point);
  const auto decimals = static_cast<std::size_t>(std::ceil(-std::log10(step) - 1e-9));
  return text.substr(0, point + 1 + std::min<std::size_t>(decimals, 3));
}

}  // namespace lmi
