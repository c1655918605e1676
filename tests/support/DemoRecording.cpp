#include "support/DemoRecording.h"

#include "support/Builders.h"

namespace lmimport::test {
namespace {

// Rises and falls by `step`, between 0 and `top`. Whole numbers only, so it is the same everywhere.
int Triangle(int i, int step, int top) {
  const int phase = i * step % (2 * top);
  return phase < top ? phase : 2 * top - phase;
}

ChartBlock Run(int frames, std::vector<ChartComment> comments) {
  ChartBlock block{.Rate = 200,
                   .ChannelIndex = {0, 1, 2},
                   .Scale = {100, 2000, 6400},
                   .Offset = {0, -2.5F, 0},
                   .Comments = std::move(comments)};
  for (int i = 0; i < frames; ++i) {
    block.Samples.push_back(Triangle(i, 50, 12000));
    block.Samples.push_back(Triangle(i, 240, 10000));
    block.Samples.push_back(i % 100 == 0 ? 32000 : 0);
  }
  return block;
}

}  // namespace

std::string DemoRecording() {
  Chart chart;
  chart.ChannelCount = 3;
  chart.Titles = {"Pressure", "Flow", "Trigger"};
  chart.Units = {"mmHg", "l/s", "V"};
  chart.Blocks = {Run(1000, {{1, "start of the first run"}, {501, "valve open"}}),
                  Run(400, {{201, "valve closed"}})};
  return chart.Build();
}

}  // namespace lmimport::test
