#include "picture/Picture.h"

#include <fmt/core.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <exception>
#include <limits>
#include <map>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <tuple>

#include "output/Text.h"

namespace lmi {
namespace {

using namespace lmimport;

constexpr double Infinity = std::numeric_limits<double>::infinity();

// A curve that is still to be read, of samples from First on.
struct Plan {
  const Recording* Source;
  std::size_t Lane;
  std::size_t Block;
  std::size_t Channel;
  std::int64_t First;
  std::int64_t Count;
  Curve Result;

  // The sample with which a point of the envelope begins.
  std::int64_t EdgeOf(std::size_t point) const {
    const auto points = static_cast<std::int64_t>(Result.Points.size());
    const auto i = static_cast<std::int64_t>(point);
    return First + Count / points * i + Count % points * i / points;
  }
};

// Points of one curve, or of all of a block, which are read together.
struct Task {
  std::span<Plan> Plans;
  std::size_t FirstPoint;
  std::size_t EndPoint;
};

double TimeAt(const Block& block, std::int64_t frame) {
  const double rate = block.SamplingRate;
  return block.StartTime + (rate > 0 ? static_cast<double>(frame) / rate : 0);
}

// The lanes of a picture, each for a channel in all blocks and readings that have it.
class LaneFinder {
 public:
  explicit LaneFinder(std::vector<Lane>& lanes) : lanes_(lanes) {}

  std::size_t Find(const Channel& channel, const std::string& title) {
    const auto [place, isNew] =
        places_.try_emplace({channel.Number, title, OneLine(channel.Unit)}, lanes_.size());
    if (isNew) lanes_.push_back({title, OneLine(channel.Unit), channel.Number, {}, NAN, NAN});
    if (lanes_.size() > MostLanes)
      throw std::runtime_error(
          "there are too many channels for one picture; --channel chooses some");
    return place->second;
  }

 private:
  static constexpr std::size_t MostLanes = 1000;
  std::vector<Lane>& lanes_;
  std::map<std::tuple<int, std::string, std::string>, std::size_t> places_;
};

void ReadSamples(Plan& plan) {
  std::vector<double> samples(static_cast<std::size_t>(plan.Count));
  const std::int64_t count = plan.Source->Read(plan.Block, plan.Channel, plan.First, samples);
  plan.Result.Points.clear();
  for (const double sample : std::span(samples).first(static_cast<std::size_t>(count)))
    plan.Result.Points.push_back({sample, sample});
}

void ReadEnvelopes(const Task& task) {
  const Plan& first = task.Plans.front();
  const std::int64_t start = first.EdgeOf(task.FirstPoint);
  const std::int64_t count = first.EdgeOf(task.EndPoint) - start;
  const std::size_t points = task.EndPoint - task.FirstPoint;
  if (task.Plans.size() == 1) {
    const std::span<Extremes> target(task.Plans[0].Result.Points);
    return first.Source->Overview(first.Block, first.Channel, start, count,
                                  target.subspan(task.FirstPoint, points));
  }
  const std::size_t channels = first.Source->Blocks()[first.Block].Channels.size();
  std::vector<Extremes> all(points * channels);
  first.Source->OverviewFrames(first.Block, start, count, all);
  for (Plan& plan : task.Plans) {
    for (std::size_t i = 0; i < points; ++i)
      plan.Result.Points[task.FirstPoint + i] = all[i * channels + plan.Channel];
  }
}

// Where most channels of a block are drawn, they are read together. Long stretches are cut, so that
// all processors have their part.
std::vector<Task> TasksOf(std::vector<Plan>& plans) {
  constexpr std::size_t fewestPoints = 32;
  const std::size_t processors = std::max(1U, std::thread::hardware_concurrency());
  std::vector<Task> tasks;
  for (std::size_t first = 0; first < plans.size();) {
    std::size_t end = first + 1;
    while (end < plans.size() && plans[end].Source == plans[first].Source &&
           plans[end].Block == plans[first].Block)
      ++end;
    const std::size_t all = plans[first].Source->Blocks()[plans[first].Block].Channels.size();
    const bool together = plans[first].Result.IsEnvelope && (end - first) * 2 > all;
    if (!together) end = first + 1;
    const std::span<Plan> group = std::span(plans).subspan(first, end - first);
    const std::size_t points = group[0].Result.Points.size();
    const std::size_t parts = points < fewestPoints ? 1 : processors;
    for (std::size_t i = 0; i < parts; ++i)
      tasks.push_back({group, points * i / parts, points * (i + 1) / parts});
    first = end;
  }
  return tasks;
}

// On all processors; the first fault ends it and goes on to the caller.
void ReadAll(std::vector<Plan>& plans, const std::function<bool(double)>& progress) {
  const std::vector<Task> tasks = TasksOf(plans);
  std::atomic<std::size_t> next = 0;
  std::atomic<bool> ends = false;
  std::mutex guard;
  std::size_t done = 0;
  std::exception_ptr fault;
  const auto work = [&] {
    for (std::size_t i = 0; (i = next++) < tasks.size() && !ends;) {
      try {
        if (tasks[i].Plans[0].Result.IsEnvelope)
          ReadEnvelopes(tasks[i]);
        else
          ReadSamples(tasks[i].Plans[0]);
      } catch (...) {
        const std::scoped_lock lock(guard);
        fault = std::current_exception();
        ends = true;
      }
      const std::scoped_lock lock(guard);
      ++done;
      if (!progress(static_cast<double>(done) / static_cast<double>(tasks.size()))) ends = true;
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

void AddPlans(const Recording& recording, bool isSecond, const PictureOptions& options,
              LaneFinder& lanes, std::vector<Plan>& plans) {
  for (const Part& part : Select(recording, options.Selection)) {
    const Block& block = recording.Blocks()[part.Block];
    if (part.Frames() == 0) continue;
    const std::vector<std::string> names = ChannelNames(recording, part.Block);
    for (const std::size_t channel : part.Channels)
      plans.push_back({&recording,
                       lanes.Find(block.Channels[channel], names[channel]),
                       part.Block,
                       channel,
                       part.First,
                       part.Frames(),
                       {TimeAt(block, part.First), TimeAt(block, part.End), isSecond, false, {}}});
  }
}

// The multiples of a step from low to high; none where a Double can't tell them apart.
std::vector<double> Multiples(double step, double low, double high, int most) {
  std::vector<double> ticks;
  const double first = std::ceil(low / step - 1e-9);
  if (low + step == low || first + 1 == first) return ticks;
  for (int i = 0; i <= 2 * most && (first + i) * step <= high + step * 1e-9; ++i)
    ticks.push_back((first + i) * step + 0.0);
  return ticks;
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
  std::vector<Plan> plans;
  LaneFinder lanes(picture.Lanes);
  AddPlans(recording, false, options, lanes, plans);
  if (second != nullptr) AddPlans(*second, true, options, lanes, plans);
  if (plans.empty()) throw std::runtime_error("there is no sample to draw");
  picture.From = Infinity;
  picture.To = -Infinity;
  for (const Plan& plan : plans) {
    picture.From = std::min(picture.From, plan.Result.Start);
    picture.To = std::max(picture.To, plan.Result.End);
  }
  // The stretch that is asked for, as far as the recording goes.
  const auto [from, to] = StretchOf(recording, options.Selection);
  if (from) picture.From = *from;
  if (to) picture.To = std::min(*to, EndOf(recording));
  if (!(picture.To > picture.From)) picture.To = picture.From + 1;
  for (Plan& plan : plans) {
    // Below two samples a column the samples themselves are drawn.
    const double part = (plan.Result.End - plan.Result.Start) / (picture.To - picture.From);
    const auto columns =
        static_cast<std::int64_t>(std::ceil(part * static_cast<double>(options.Columns)));
    plan.Result.IsEnvelope = plan.Count > 2 * columns;
    if (plan.Result.IsEnvelope)
      plan.Result.Points.resize(static_cast<std::size_t>(std::max<std::int64_t>(1, columns)));
  }
  ReadAll(plans, options.Progress);
  for (Plan& plan : plans) {
    Widen(picture.Lanes[plan.Lane], plan.Result);
    picture.Lanes[plan.Lane].Curves.push_back(std::move(plan.Result));
  }
  picture.Title = OneLine(FileTitle(recording));
  picture.Start = recording.Start();
  const std::string start = DateText(picture.Start.value_or(0), ' ');
  picture.Subtitle = fmt::format("{}, {}", recording.FormatName(),
                                 start.empty() ? "no start stated" : "starts " + start);
  picture.HasSecond = second != nullptr;
  for (const Comment& comment : recording.Comments()) {
    const bool isLast = comment.Time == picture.To && !to;
    if (comment.Time >= picture.From && (comment.Time < picture.To || isLast))
      picture.Marks.push_back({comment.Time, OneLine(comment.Text)});
  }
  return picture;
}

std::vector<double> TicksOf(double low, double high, int most) {
  if (!(high > low) || !std::isfinite(high - low)) return {};
  const double rough = (high - low) / most;
  const double power = std::pow(10, std::floor(std::log10(rough)));
  double step = 10 * power;
  for (const double factor : {5.0, 2.0, 1.0}) {
    if (factor * power >= rough) step = factor * power;
  }
  return Multiples(step, low, high, most);
}

std::vector<double> TimeTicksOf(double from, double to, int most) {
  constexpr double steps[] = {15,        30,         60,         120,        300,      600,
                              900,       1800,       3600,       2 * 3600,   3 * 3600, 6 * 3600,
                              12 * 3600, 24 * 3600., 48 * 3600., 168 * 3600.};
  const double rough = (to - from) / most;
  if (rough <= 10) return TicksOf(from, to, most);
  const auto* const found = std::ranges::lower_bound(steps, rough);
  if (found == std::end(steps)) return TicksOf(from, to, most);
  return Multiples(*found, from, to, most);
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

std::string ClockTickText(Date start, double seconds, double step, bool isLong) {
  constexpr double secondsOfDay = 86400;
  // To the nearest second, not down to it.
  std::string clock = ClockText(start, seconds + (step >= 1 ? 0.5 : 0), std::min(step, 0.01));
  if (clock.empty() || start + seconds / secondsOfDay < 1) return {};
  std::ranges::replace(clock, 'T', ' ');
  const std::size_t first = isLong ? 5 : 11;
  const std::size_t end = step >= 1 ? 19 : 23;
  return clock.substr(first, end - first);
}

}  // namespace lmi
