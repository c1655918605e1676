#include "Seeds.h"

#include "Targets.h"
#include "support/Builders.h"
#include "support/Recordings.h"

namespace lmimport::fuzz {

using namespace test;

Seeds BuiltSeeds() {
  Seeds seeds;
  for (const BuiltRecording& recording : AllRecordings())
    seeds.emplace(recording.Target,
                  Input(*FindTarget(recording.Target), recording.Bytes, recording.SidecarBytes));
  Edf wide{.Signals = std::vector<EdfSignal>(34, EdfSignal{.Records = {Words({1, 2})}})};
  wide.Signals.push_back(EdfAnnotations({"+0\x14\x14"}, 3));
  wide.Signals.push_back(EdfAnnotations({"+0\x14\x14"}, 3));
  seeds.emplace("edf", wide.Build());
  const std::string doubles = Bytes().Real64(1).Real64(2).Get();
  seeds.emplace("matlab4", Mat4(0, 1, 2, false, "x_Data", doubles) +
                               Mat4(0, 1, 1, false, "x_SamplingRate", doubles.substr(8)));
  seeds.emplace("matlab5", Mat5({{.Name = "x_Data"}, {.Name = "y"}}));
  for (const int type : {1, 2, 3, 4, 5, 6, 7, 9})  // of the rates: integers of all widths, reals
    seeds.emplace("matlab5", Mat5({{.Name = "x_Data"},
                                   {.Name = "x_SamplingRate",
                                    .Dimensions = {1, 2},
                                    .Type = type,
                                    .Data = Bytes().Int32(7).Zeros(12).Get()}}));
  for (const char* board : {"L783", "L76", "L79", "L50", "E15", "E2010", "USB3000", "E-24"})
    seeds.emplace("abin", Patched(Abin(), 64, Bytes().Text(board)));
  return seeds;
}

}  // namespace lmimport::fuzz
