// Makes samples/demo.lmc, which the README and the demonstration show: two runs of pressure, flow
// and a trigger. Whole numbers only, so it comes out the same everywhere.
#include <fstream>

#include "support/Builders.h"

namespace {

using namespace lmimport::test;

// Rises and falls by `step`, between 0 and `top`.
int Triangle(int i, int step, int top) {
  const int phase = i * step % (2 * top);
  return phase < top ? phase : 2 * top - phase;
}

ChartBlock Run(int frames, std::vector<ChartComment> comments) {
  ChartBlock block{.Rate = 200,
                   .ChannelIndex = {0, 1, 2},
                   .Scale = {100, 2000, 6400},
                   .Offset = {0, -2.5F, 0},
                   .Samples = {},
                   .Comments = std::move(comments)};
  for (int i = 0; i < frames; ++i)
    for (const int sample : {Triangle(i, 50, 12000), Triangle(i, 240, 10000), i % 100 ? 0 : 32000})
      block.Samples.push_back(sample);
  return block;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  Chart chart{.Channels = {{"Pressure", "mmHg"}, {"Flow", "l/s"}, {"Trigger", "V"}},
              .Blocks = {Run(1000, {{1, "start of the first run"}, {501, "valve open"}}),
                         Run(400, {{201, "valve closed"}})}};
  std::ofstream file(std::string(argv[1]) + "/demo.lmc", std::ios::binary);
  file << chart.Build();
  return file.flush() ? 0 : 1;
}
